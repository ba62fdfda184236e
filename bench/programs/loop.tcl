proc main {} {
    array set var {i 0 sum 0}
    while {$var(i) < 10000000} {
        set var(i) [expr {$var(i) + 1}]
        set var(sum) [expr {($var(sum) + $var(i)) % 1000003}]
    }
    puts $var(sum)
}
main
