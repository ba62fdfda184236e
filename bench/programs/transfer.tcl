proc main {input folder} {
    foreach region {north south} {
        set out($region) [open $folder/$region w]
    }
    set file [open $input]
    while {[gets $file line] >= 0} {
        lassign [split $line ,] id key region
        if {[info exists out($region)]} {
            puts $out($region) $id,$key
        }
    }
    foreach region {north south} {
        close $out($region)
    }
    puts "status 0"
}
main {*}$argv
