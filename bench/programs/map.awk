BEGIN {
    for (i = 0; i < 400000; i++)
        map["key" i] = i
    for (i = 0; i < 400000; i++)
        sum = (sum + map["key" i]) % 1000003
    print sum
}
