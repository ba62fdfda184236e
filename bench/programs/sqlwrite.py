import csv
import sqlite3
import sys

BATCH = 10000

def main():
    database = sqlite3.connect(sys.argv[2] + "/write.db")
    database.execute("drop table if exists SALES")
    database.execute("create table SALES (ID integer, KEYNAME text, REGION text, AMOUNT real, REMARK text)")
    written = 0
    rows = []

    def flush():
        with database:
            database.executemany("insert into SALES values (?, ?, ?, ?, ?)", rows)
        rows.clear()

    with open(sys.argv[1], newline="") as file:
        for id, key, region, amount, remark in csv.reader(file):
            rows.append((int(id), key, region, float(amount), remark))
            written += 1
            if len(rows) == BATCH:
                flush()
    flush()
    print(written)

main()
