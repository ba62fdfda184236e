def main():
    var = {"i": 0, "sum": 0}
    while var["i"] < 10000000:
        var["i"] = var["i"] + 1
        var["sum"] = (var["sum"] + var["i"]) % 1000003
    print(var["sum"])

main()
