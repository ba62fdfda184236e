use strict;
my %count;
open my $file, "<", $ARGV[0] or die "$ARGV[0]: $!";
while (my $line = <$file>) {
    my ($id, $key) = split /,/, $line, 3;
    $count{$key}++;
}
print "$_ $count{$_}\n" for sort keys %count;
