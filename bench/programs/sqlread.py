import sqlite3
import sys

def main():
    database = sqlite3.connect(sys.argv[2] + "/read.db")
    count, total = 0, 0.0
    for id, key, region, amount, remark in database.execute("select ID, KEYNAME, REGION, AMOUNT, REMARK from SALES"):
        if region == "north":
            total += amount
            count += 1
    print("%d %.2f" % (count, total))

main()
