BEGIN {
    text = "item1"
    for (i = 2; i <= 40; i++)
        text = text ",item" i
    for (i = 0; i < 100000; i++) {
        n = split(text, items, ",")
        out = items[1]
        for (k = 2; k <= n; k++)
            if (items[k] != "item20")
                out = out "," items[k]
        len = (len + length(out)) % 1000003
    }
    print out
    print len
}
