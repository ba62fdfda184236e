proc main {} {
    for {set i 0} {$i < 400000} {incr i} {
        set map(key$i) $i
    }
    set sum 0
    for {set i 0} {$i < 400000} {incr i} {
        set sum [expr {($sum + $map(key$i)) % 1000003}]
    }
    puts $sum
}
main
