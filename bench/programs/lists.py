def main():
    length = 0
    for i in range(500000):
        record = f"{i},widget,north,12.50,2026-11-22,first of the month"
        id, key, region, price, date, note = record.split(",")
        out = f"{region},{id},{date},{key},{note},{price}"
        length = (length + len(out)) % 1000003
    print(out)
    print(length)

main()
