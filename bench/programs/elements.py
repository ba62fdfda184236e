import sys
from collections import deque

def main():
    task = sys.argv[1]
    # A list is slow at its front, where Python has another container.
    elements = deque() if task in ("QUEUE", "REMOVE") else []
    for i in range(1000000):
        elements.append(i)
    if task == "FILL":
        print(elements[-1])
    elif task == "READ":
        sum = 0
        for _ in range(10):
            for element in elements:
                sum = (sum + element) % 1000003
        print(sum)
    elif task == "BY_NUMBER":
        sum = 0
        for _ in range(10):
            for i in range(1000000):
                sum = (sum + elements[i]) % 1000003
        print(sum)
    elif task == "QUEUE":
        for i in range(10000000):
            elements.append(i)
            elements.popleft()
        print(len(elements), elements[0])
    elif task == "REMOVE":
        for _ in range(1000000):
            elements.popleft()
        print(len(elements))
    elif task == "PREPEND":
        others = deque()
        for i in range(1000000):
            others.appendleft(i)
        print(others[0])

main()
