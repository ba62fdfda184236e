import json
import sys
from shapely.geometry import Point, shape
from shapely.prepared import prep
from shapely.strtree import STRtree

with open(sys.argv[3], encoding="utf-8") as file:
    features = json.load(file)["features"]
names = [feature["properties"]["name"] for feature in features]
areas = [shape(feature["geometry"]) for feature in features]
contains = [prep(area).contains for area in areas]
find = STRtree(areas, items=range(len(areas))).query_items
counts = {}
with open(sys.argv[1], encoding="ascii") as file:
    for line in file:
        x, y = line.split(",")
        point = Point(float(x), float(y))
        for number in find(point):
            if contains[number](point):
                name = names[number]
                counts[name] = counts.get(name, 0) + 1
                break
for name in sorted(counts):
    print(name, counts[name])
