proc main {path} {
    set file [open $path]
    while {[gets $file line] >= 0} {
        incr count([lindex [split $line ,] 1])
    }
    foreach key [lsort [array names count]] {
        puts "$key $count($key)"
    }
}
main [lindex $argv 0]
