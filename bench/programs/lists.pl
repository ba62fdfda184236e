use strict;
my $text = join ",", map { "item$_" } 1 .. 40;
my ($length, $out) = (0, "");
for (1 .. 100000) {
    my @kept;
    for my $item (split /,/, $text) {
        push @kept, $item if $item ne "item20";
    }
    $out = join ",", @kept;
    $length = ($length + length $out) % 1000003;
}
print "$out\n$length\n";
