#!/usr/bin/env python3
"""Writes a tree for benchmarking the disk usage scan.

ENTRIES entries in FOLDERS folders under DIR (default 500,000 and 50,000):
folders in a random tree below DIR; about half the files empty, the rest
1 byte to 4 KiB; 1% of the entries extra hard links to files written
before; 0.5% symbolic links. The same seed gives the same tree. The tree
belongs in a temp folder and is never committed.

    python3 bench/make_du_corpus.py /tmp/du-corpus
"""

import argparse
import os
import random


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("dir")
    parser.add_argument("--entries", type=int, default=500_000)
    parser.add_argument("--folders", type=int, default=50_000)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()

    rng = random.Random(args.seed)
    os.makedirs(args.dir, exist_ok=False)

    # Folders: each new one goes below a random earlier one, which gives a
    # bushy tree a few levels deep, as user folders are.
    folders = [args.dir]
    for i in range(args.folders - 1):
        parent = folders[rng.randrange(len(folders))] if folders[1:] and rng.random() < 0.9 else args.dir
        path = os.path.join(parent, f"d{i}")
        os.mkdir(path)
        folders.append(path)

    others = args.entries - args.folders
    links = others // 100
    symlinks = others // 200
    files = others - links - symlinks
    payload = os.urandom(4096)
    written = []
    for i in range(files):
        path = os.path.join(folders[rng.randrange(len(folders))], f"f{i}.dat")
        size = 0 if rng.random() < 0.5 else rng.randint(1, 4096)
        with open(path, "wb") as f:
            if size:
                f.write(payload[:size])
        written.append(path)
    for i in range(links):
        os.link(written[rng.randrange(len(written))],
                os.path.join(folders[rng.randrange(len(folders))], f"h{i}.dat"))
    for i in range(symlinks):
        os.symlink(written[rng.randrange(len(written))],
                   os.path.join(folders[rng.randrange(len(folders))], f"s{i}.lnk"))
    print(f"{args.dir}: {args.folders} folders, {files} files, {links} hard links, {symlinks} symbolic links")


if __name__ == "__main__":
    main()
