BEGIN {
    for (i = 0; i < 500000; i++) {
        record = i ",widget,north,12.50,2026-11-22,first of the month"
        split(record, field, ",")
        id = field[1]; key = field[2]; region = field[3]
        price = field[4]; date = field[5]; note = field[6]
        out = region "," id "," date "," key "," note "," price
        len = (len + length(out)) % 1000003
    }
    print out
    print len
}
