from shapely.geometry import Point
total = 0
for i in range(1_000_000):
    point = Point(i, i + 0.5)
    copy = Point(point)
    total += copy.y
print("%d" % (total % 1000003))
