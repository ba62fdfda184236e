import sys

def main():
    task = sys.argv[1]
    records = {}
    k = 7
    for _ in range(1000000):
        records["K%d" % k] = (k, "name%d" % k, "north", k * 0.5)
        k = (k * 2021 + 77777) % 1000000
    if task == "FILL":
        print(*records["K7"])
    elif task == "FIND":
        sum = 0
        for _ in range(1000000):
            id, name, region, price = records["K%d" % k]
            sum = (sum + id) % 1000003
            k = (k * 1021 + 33331) % 1000000
        print(sum)
    elif task == "SCAN":
        sum = 0
        for id, name, region, price in records.values():
            sum = (sum + id) % 1000003
        print(sum)

main()
