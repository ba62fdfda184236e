# The report of examples/atlas and the lines of its result files, counted from the data in another way.
# awk -f report.awk data/cities_*.csv data/earthquakes.csv; the report goes to standard output,
# "name lines" of each result file to the file that the variable files_out names.

function grouped(n,   t) {
    n = sprintf("%d", n)
    while (length(n) > 3) { t = "," substr(n, length(n) - 2) t; n = substr(n, 1, length(n) - 3) }
    return n t
}

function acos(x) { return atan2(sqrt(1 - x * x), x) }

function ruler() { print "--------------------------------------------------------------------------------------" }

function km(lon1, lat1, lon2, lat2) {
    return 111.195 / r * acos(sin(lat1 * r) * sin(lat2 * r) + cos(lat1 * r) * cos(lat2 * r) * cos((lon1 - lon2) * r))
}

BEGIN {
    FS = ","
    r = atan2(0, -1) / 180
    split("AF AN AS EU NA OC SA", order, " ")
    title["AF"] = "Africa"; title["AN"] = "Antarctic islands"; title["AS"] = "Asia"; title["EU"] = "Europe"
    title["NA"] = "North America"; title["OC"] = "Oceania"; title["SA"] = "South America"
}

FNR == 1 {
    quake = FILENAME ~ /earthquakes/
    files += !quake
    continent = FILENAME
    sub(/\.csv$/, "", continent); sub(/.*_/, "", continent)
    next
}

# the name or place is what stands behind the given number of commas
function rest(n,   t) { t = $0; while (n-- > 0) sub(/^[^,]*,/, "", t); return t }

!quake {
    places++
    name = rest(5)
    if ($2 ~ /^PPL(C|A)$/ && $3 == 0) { given_up++; next }
    if ($2 == "PPLX") next
    if ($2 ~ /^PPL(CH|H|Q|W)$/) { unwanted["CITIES,gone"] = 1; next }
    if ($2 == "PPLC") lines["capitals.csv"]++
    count[continent]++; all++
    people[continent] += $3; everyone += $3
    if ($3 > largest[continent]) { largest[continent] = $3; largest_name[continent] = name }
    if ($3 >= 1000000) {
        lines["millions.csv"]++
        if (!(name in lon)) big[++bigs] = name
        lon[name] = $4; lat[name] = $5
    } else if ($3 >= 100000 && continent == "EU") lines["europe.csv"]++
}

quake {
    quakes++
    if ($6 == "explosion") { lines["blasts.csv"]++; next }
    if ($6 != "earthquake") { kind = $6; gsub(/ /, "_", kind); unwanted["QUAKES," kind] = 1; next }
    strength = $2 >= 5.5 ? "strong" : $2 >= 4.5 ? "moderate" : "light"
    shakes[strength]++
    if (strength != "light") lines["quakes.csv"]++
    if (strength != "strong") next
    best = 99999
    for (i = 1; i <= bigs; i++) {
        d = km($4, $5, lon[big[i]], lat[big[i]])
        if (d < best) { best = d; near = big[i] }
    }
    text = $2 ~ /\./ ? $2 : $2 ".0"
    strong[++strongs] = sprintf("   %s%6s  %-42s%5d km from %s", substr($1, 1, 10), text, rest(6), int(best + 0.5), near)
}

function bar(length_wanted,    stars) {
    while (length_wanted-- >= 0.5) stars = stars "*"
    return stars
}

END {
    print "continent            places people" > shares_out
    ruler()
    print grouped(places) " places in " files " files, " grouped(quakes) " earthquakes and blasts"
    ruler()
    print "continent             places    people (m)  largest place"
    for (i = 1; i <= 7; i++) {
        c = order[i]
        printf "%-20s%8s%14.1f  %s\n", title[c], grouped(count[c]), people[c] / 1000000, largest_name[c]
        printf "%-20s%7s%7s  %s\n", title[c], sprintf("%.1f%%", 100 * count[c] / all),
            sprintf("%.1f%%", 100 * people[c] / everyone), bar(50 * people[c] / everyone) > shares_out
    }
    printf "%-20s%8s%14.1f\n", "world", grouped(all), everyone / 1000000
    ruler()
    print "earthquakes of one week"
    split("light moderate strong", order, " ")
    for (i = 1; i <= 3; i++) printf "   %-17s%8s\n", order[i], grouped(shakes[order[i]])
    print "strong ones, their magnitude and the nearest place of a million"
    for (i = 1; i <= strongs; i++) print strong[i]
    print strongs " strong earthquakes, the first one:\n" strong[1] > shares_out
    ruler()
    print "lines written"
    split("capitals.csv millions.csv europe.csv quakes.csv blasts.csv", order, " ")
    for (i = 1; i <= 5; i++) {
        printf "   %-17s%8s\n", order[i], grouped(lines[order[i]])
        print order[i], lines[order[i]] > files_out
    }
    ruler()
    printf "%-40s%s\n", "places without people, given up", grouped(given_up)
    print "no rule wanted"
    for (u in unwanted) print "   " u | "sort"
    close("sort")
    ruler()
}
