# awk -f well_formed.awk FILE: fails unless the elements of an XML file are nested in one, and its attributes quoted.
BEGIN { RS = "<" }
NR == 1 { next }
!/^[^>]*>[^>]*$/ || />.*&[^a-z]/ { fail("text") }
{
    tag = $0
    sub(/>.*/, "", tag)
    name = tag
    sub(/^\//, "", name)
    sub(/[ \/].*/, "", name)
}
tag ~ /^\// && open[depth--] != name { fail("end") }
tag !~ /^\// {
    if (tag !~ /^[a-z]+( [-a-zA-Z]+="[^"]*")* ?\/?$/) fail("tag")
    if (depth == 0 && roots++) fail("second root")
    if (tag !~ /\/$/) open[++depth] = name
}
END { if (depth || roots != 1) fail("end of the file") }
function fail(what) {
    if (bad) exit 1
    bad = 1
    print "not well-formed, " what ": <" substr($0, 1, 80)
    exit 1
}
