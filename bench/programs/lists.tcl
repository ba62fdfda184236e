proc main {} {
    set length 0
    for {set i 0} {$i < 500000} {incr i} {
        set record "$i,widget,north,12.50,2026-11-22,first of the month"
        lassign [split $record ,] id key region price date note
        set out "$region,$id,$date,$key,$note,$price"
        set length [expr {($length + [string length $out]) % 1000003}]
    }
    puts $out
    puts $length
}
main
