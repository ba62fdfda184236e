def main():
    i = sum = 0
    while i < 10000000:
        i = i + 1
        sum = (sum + i) % 1000003
    print(sum)

main()
