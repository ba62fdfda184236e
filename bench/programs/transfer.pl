use strict;
my ($input, $folder) = @ARGV;
my %out;
for my $region ("north", "south") {
    open $out{$region}, ">", "$folder/$region" or die "$folder/$region: $!";
}
open my $file, "<", $input or die "$input: $!";
while (my $line = <$file>) {
    my ($id, $key, $region) = split /,/, $line, 4;
    if (my $to = $out{$region}) {
        print $to "$id,$key\n";
    }
}
print "status 0\n";
