import sys

PLACES = ["Ashford", "Brookfield", "Cedar Hill", "Dunmore", "Eastbridge", "Fairview", "Greenville", "Harborough",
          "Kingsley", "Lakewood", "Millbrook", "Northfield", "Oakdale", "Riverside", "Springfield", "Westport"]

def main():
    task = sys.argv[1]
    keys = {}
    k = 7
    for _ in range(1000000):
        keys["%s-%d" % (PLACES[k % 16], k)] = k
        k = (k * 2021 + 77777) % 1000000
    if task == "FILL":
        print(keys["Harborough-7"])
    elif task == "FIND":
        sum = 0
        for _ in range(1000000):
            sum = (sum + keys["%s-%d" % (PLACES[k % 16], k)]) % 1000003
            k = (k * 1021 + 33331) % 1000000
        print(sum)
    elif task == "REMOVE_MIXED":
        for _ in range(1000000):
            del keys["%s-%d" % (PLACES[k % 16], k)]
            k = (k * 1021 + 33331) % 1000000
        print("FALSE" if keys else "TRUE")

main()
