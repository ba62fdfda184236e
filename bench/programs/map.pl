use strict;
my %map;
$map{"key$_"} = $_ for 0 .. 399999;
my $sum = 0;
$sum = ($sum + $map{"key$_"}) % 1000003 for 0 .. 399999;
print "$sum\n";
