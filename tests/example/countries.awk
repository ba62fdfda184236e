# awk -f countries.awk countries.geojson places.csv: fails unless every place has a country of the map, AGREES tells whether
# its code is that of the data, and 99 of 100 do so. The names of countries hold no commas, those of places may.
FNR == NR {
    if (match($0, /"name":"[^"]*"/)) {
        name = substr($0, RSTART + 8, RLENGTH - 9)
        match($0, /"code":("[A-Z]*"|null)/)
        code[name] = substr($0, RSTART + 8, 2)
    }
    next
}
FNR > 1 {
    count = split($0, field, ",")
    found = field[count - 2]
    places++
    if (!(found in code)) { print "unknown country " found; bad = 1 }
    agrees = code[found] == field[count - 5] ? "yes" : "no"
    if (agrees != field[count]) { print "line " FNR ": " $0; bad = 1 }
    agree += agrees == "yes"
}
END {
    if (places != 25567 || agree < 0.99 * places) { print agree " of " places " agree"; bad = 1 }
    exit bad
}
