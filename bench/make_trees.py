#!/usr/bin/python3
"""Writes two folder trees for the comparison benchmark: LEFT and RIGHT hold the same N files of 1-8 KiB
in folders of 100, except that 1% of the right-hand files differ from their left twins at the same size."""
import os
import random
import sys


def main():
    if len(sys.argv) != 4:
        sys.exit("usage: make_trees.py N LEFT RIGHT")
    count, left, right = int(sys.argv[1]), sys.argv[2], sys.argv[3]
    rng = random.Random(count)
    pool = rng.randbytes(8192 + 4096)
    for index in range(count):
        folder = "d%05d" % (index // 100)
        name = "f%07d.dat" % index
        size = rng.randint(1024, 8192)
        start = rng.randint(0, 4096)
        data = pool[start:start + size]
        other = data
        if rng.random() < 0.01:
            position = rng.randrange(size)
            other = data[:position] + bytes([data[position] ^ 0xFF]) + data[position + 1:]
        for root, contents in ((left, data), (right, other)):
            path = os.path.join(root, folder)
            if index % 100 == 0:
                os.makedirs(path, exist_ok=True)
            with open(os.path.join(path, name), "wb") as handle:
                handle.write(contents)


if __name__ == "__main__":
    main()
