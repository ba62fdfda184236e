BEGIN { FS = OFS = "," }
$3 == "north" { print $1, $2 > (out "/north") }
$3 == "south" { print $1, $2 > (out "/south") }
END { print "status 0" }
