import json, sys

def record(i):
    return {
        "ID": i + 5000000000, "NAME": f"place number {i}", "COUNTRY": "CH", "KIND": "town", "POPULATION": i * 1237,
        "ELEVATION": i * 7 % 500, "CAPITAL": i % 2 == 0, "LONGITUDE": i * 0.01375, "LATITUDE": 60.0 - i * 0.0425,
        "NAMES": [f"alternative {i}", "old", "former name"],
    }

def main():
    name = sys.argv[2] + "/stream"
    records = [record(i) for i in range(1000)]
    with open(name, "w") as file:
        for _ in range(360):
            for r in records:
                file.write(json.dumps(r) + "\n")
    count = sum = 0
    with open(name) as file:
        for line in file:
            r = json.loads(line)
            count += 1
            sum = (sum + r["POPULATION"] + int(r["LATITUDE"] * 10000 + 0.5) + len(r["NAMES"][0])) % 1000003
    print(count, sum)

main()
