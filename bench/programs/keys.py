import sys

def put_all(keys):
    k = 7
    for _ in range(1000000):
        keys["K%d" % k] = k
        k = (k * 2021 + 77777) % 1000000
    return k

def main():
    task = sys.argv[1]
    keys = {}
    k = put_all(keys)
    if task == "FILL":
        print(keys["K7"])
    elif task == "FIND":
        sum = 0
        for _ in range(1000000):
            sum = (sum + keys["K%d" % k]) % 1000003
            k = (k * 1021 + 33331) % 1000000
        print(sum)
    elif task == "SCAN":
        sum = 0
        for _ in range(10):
            for key, value in keys.items():
                sum = (sum + value + len(key)) % 1000003
        print(sum)
    elif task == "SORT":
        keys = dict(sorted(keys.items()))
        values = iter(keys.values())
        print(next(values), next(values), next(values))
    elif task == "REMOVE":
        for _ in range(1000000):
            del keys["K%d" % k]
            k = (k * 2021 + 77777) % 1000000
        print("FALSE" if keys else "TRUE")
    elif task == "REMOVE_MIXED":
        for _ in range(1000000):
            del keys["K%d" % k]
            k = (k * 1021 + 33331) % 1000000
        print("FALSE" if keys else "TRUE")
    elif task == "REFILL":
        keys.clear()
        put_all(keys)
        print(keys["K7"])

main()
