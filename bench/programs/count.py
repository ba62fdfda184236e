import sys

def main():
    count = {}
    with open(sys.argv[1]) as file:
        for line in file:
            key = line.split(",", 2)[1]
            count[key] = count.get(key, 0) + 1
    for key in sorted(count):
        print(key, count[key])

main()
