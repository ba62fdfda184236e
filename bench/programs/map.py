def main():
    map = {}
    for i in range(400000):
        map["key%d" % i] = i
    sum = 0
    for i in range(400000):
        sum = (sum + map["key%d" % i]) % 1000003
    print(sum)

main()
