#!/usr/bin/env python3
"""Writes a corpus for benchmarking duplicate search.

About FILES files and BYTES bytes under DIR (default 100,000 and 2 GiB):
sizes drawn from a heavy-tailed (Pareto) law, so most files are small and a
few are large; planted exact copies; files of one size that differ only in
their last byte; and whole folders copied elsewhere. The same seed gives the
same corpus. The corpus belongs in a temp folder and is never committed.

    python3 bench/make_dupes_corpus.py /tmp/dupes-corpus
"""

import argparse
import os
import random

# Extensions the type table knows, so that a file's type comes from its name.
EXTENSIONS = ["txt", "doc", "zip", "mp3", "mov", "json", "log", "csv", "xml", "tar"]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("dir")
    parser.add_argument("--files", type=int, default=100_000)
    parser.add_argument("--bytes", type=int, default=2 * 1024**3)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()

    rng = random.Random(args.seed)
    mean = args.bytes / args.files
    alpha = 1.3
    scale = mean * (alpha - 1) / alpha  # Pareto mean = scale * alpha / (alpha - 1)
    cap = 256 * 1024 * 1024

    def size():
        return max(1, min(cap, int(scale / (1.0 - rng.random()) ** (1.0 / alpha))))

    folders = max(1, args.files // 100)
    written = []  # (path, content) of files that may be copied later
    count = 0
    total = 0

    def put(path, data):
        nonlocal count, total
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data)
        count += 1
        total += len(data)

    def path_for(i):
        folder = os.path.join(args.dir, "f%03d" % (i % folders), "s%d" % (i % 7))
        return os.path.join(folder, "file%06d.%s" % (i, EXTENSIONS[i % len(EXTENSIONS)]))

    i = 0
    copied_folders = 0
    while count < args.files and total < args.bytes:
        roll = rng.random()
        path = path_for(i)
        i += 1
        if roll < 0.10 and written:
            # An exact copy of an earlier file.
            _, data = rng.choice(written)
            put(path, data)
        elif roll < 0.13 and written:
            # Same size as an earlier file, different in the last byte only.
            _, data = rng.choice(written)
            put(path, data[:-1] + bytes([(data[-1] + 1) % 256]))
        elif roll < 0.1305 and copied_folders < 40:
            # A whole folder of 20 files, and a copy of it elsewhere.
            base = os.path.join(args.dir, "albums", "album%02d" % copied_folders)
            copy = os.path.join(args.dir, "backup", "album%02d copy" % copied_folders)
            for k in range(20):
                data = rng.randbytes(min(size(), 4 * 1024 * 1024))
                put(os.path.join(base, "pic%02d.mov" % k), data)
                put(os.path.join(copy, "pic%02d.mov" % k), data)
            copied_folders += 1
        else:
            data = rng.randbytes(size())
            put(path, data)
            if len(data) < 8 * 1024 * 1024 and rng.random() < 0.2:
                written.append((path, data))
                if len(written) > 2000:
                    written.pop(rng.randrange(len(written)))
    print("%d files, %d bytes in %s" % (count, total, args.dir))


if __name__ == "__main__":
    main()
