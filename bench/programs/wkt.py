import sys
from shapely import wkt

with open(sys.argv[1], encoding="ascii") as source, open(sys.argv[2] + "/wkt", "w", encoding="ascii") as target:
    for line in source:
        target.write(wkt.loads(line).wkt + "\n")
