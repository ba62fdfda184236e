use strict;
my ($length, $out) = (0, "");
for my $i (0 .. 499999) {
    my $record = "$i,widget,north,12.50,2026-11-22,first of the month";
    my ($id, $key, $region, $price, $date, $note) = split /,/, $record;
    $out = "$region,$id,$date,$key,$note,$price";
    $length = ($length + length $out) % 1000003;
}
print "$out\n$length\n";
