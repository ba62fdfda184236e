proc main {} {
    set parts {}
    for {set i 1} {$i <= 40} {incr i} {
        lappend parts item$i
    }
    set text [join $parts ,]
    set length 0
    for {set i 0} {$i < 100000} {incr i} {
        set kept {}
        foreach item [split $text ,] {
            if {$item ne "item20"} {
                lappend kept $item
            }
        }
        set out [join $kept ,]
        set length [expr {($length + [string length $out]) % 1000003}]
    }
    puts $out
    puts $length
}
main
