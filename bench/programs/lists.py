def main():
    text = ",".join("item%d" % i for i in range(1, 41))
    length = 0
    for _ in range(100000):
        kept = []
        for item in text.split(","):
            if item != "item20":
                kept.append(item)
        out = ",".join(kept)
        length = (length + len(out)) % 1000003
    print(out)
    print(length)

main()
