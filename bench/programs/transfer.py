import sys

def main():
    with open(sys.argv[1]) as file, \
            open(sys.argv[2] + "/north", "w") as north, open(sys.argv[2] + "/south", "w") as south:
        out = {"north": north, "south": south}
        for line in file:
            id, key, region, _ = line.split(",", 3)
            if region in out:
                out[region].write(id + "," + key + "\n")
    print("status 0")

main()
