#!/usr/bin/env python3
"""Writes a home-like corpus for benchmarking duplicate search.

About FILES files and BYTES bytes under DIR (default 30,000 and 600 MB),
with the extensions of a real home folder in about equal shares: png, jpg,
pdf, zip, docx, mp3, txt, json, xml, log, dat, bin, cache, tmp. About a
tenth of the picture-named files are real small JPEGs and PNGs; the rest of
them hold other bytes, as files whose names promise a type often do. Sizes
are heavy-tailed (most small, a few large), folders are of very different
sizes, and some files are exact copies. The same seed gives the same corpus.
The corpus belongs in a temp folder and is never committed.

With --photos N it writes instead N real 12-megapixel JPEGs (4000 x 3000,
noise under a blur, each of another brightness, contrast or grain), through
the image library's command-line tool `vips`.

    python3 bench/make_home_corpus.py /tmp/home-corpus
    python3 bench/make_home_corpus.py --photos 200 /tmp/photos-12mp
"""

import argparse
import os
import random
import struct
import subprocess
import tempfile
import zlib

EXTENSIONS = ["png", "jpg", "pdf", "zip", "docx", "mp3", "txt", "json", "xml", "log", "dat", "bin", "cache", "tmp"]
PICTURES = {"png", "jpg"}


def png(width, height, rows):
    """A gray 8-bit PNG of the given rows of bytes."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data) & 0xFFFFFFFF)
    raw = b"".join(b"\0" + bytes(row) for row in rows)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(raw, 6)) + chunk(b"IEND", b""))


def picture_rows(rng, width, height):
    """A gradient at a random angle with grain: every picture another."""
    ax, ay, grain = rng.uniform(-3, 3), rng.uniform(-3, 3), rng.randint(0, 40)
    base = rng.randint(0, 255)
    return [[(base + int(ax * x + ay * y) + rng.randint(0, grain)) % 256 for x in range(width)] for y in range(height)]


def head_for(ext, rng):
    """What a file of this name starts with when it does not hold a picture."""
    return {
        "pdf": b"%PDF-1.7\n",
        "zip": b"PK\x03\x04",
        "docx": b"PK\x03\x04",
        "mp3": b"ID3\x04\0\0",
        "json": b'{"items": [',
        "xml": b'<?xml version="1.0"?>\n',
        "txt": b"Notes\n",
        "log": b"2024-01-01 00:00:00 INFO ",
    }.get(ext, b"")


def write_home(args):
    rng = random.Random(args.seed)
    mean = args.bytes / args.files
    alpha = 1.4
    scale = mean * (alpha - 1) / alpha
    cap = 64 * 1024 * 1024

    def size():
        return max(1, min(cap, int(scale / (1.0 - rng.random()) ** (1.0 / alpha))))

    # Folders of very different sizes: a few hold hundreds, most a handful.
    folders = []
    for i in range(max(1, args.files // 40)):
        depth = rng.randint(1, 4)
        folders.append(os.path.join(args.dir, *["d%d_%d" % (i % 17, k) for k in range(depth)], "f%d" % i))
    weights = [1.0 / (1 + i) ** 0.8 for i in range(len(folders))]

    real_pictures = []
    with tempfile.TemporaryDirectory() as scratch:
        written = []
        for n in range(args.files):
            folder = rng.choices(folders, weights)[0]
            os.makedirs(folder, exist_ok=True)
            ext = EXTENSIONS[n % len(EXTENSIONS)]
            path = os.path.join(folder, "file%06d.%s" % (n, ext))
            if written and rng.random() < 0.08:
                # An exact copy of an earlier file, under this file's name.
                src = rng.choice(written)
                with open(src, "rb") as f:
                    data = f.read()
            elif ext in PICTURES and rng.random() < 0.1:
                w, h = rng.randint(40, 200), rng.randint(40, 200)
                data = png(w, h, picture_rows(rng, w, h))
                if ext == "jpg":
                    real_pictures.append((path, data))
                    continue  # encoded below, in one batch of the command-line tool
            else:
                head = head_for(ext, rng)
                data = head + rng.randbytes(max(0, size() - len(head)))
            with open(path, "wb") as f:
                f.write(data)
            written.append(path)
        # Real JPEGs: the PNG rows through `vips`, a few per call.
        for i, (path, data) in enumerate(real_pictures):
            source = os.path.join(scratch, "p%d.png" % i)
            with open(source, "wb") as f:
                f.write(data)
            subprocess.run(["vips", "copy", source, path + "[Q=85]"], check=True)
            written.append(path)
    total = sum(os.path.getsize(os.path.join(r, f)) for r, _, fs in os.walk(args.dir) for f in fs)
    print("%s: %d files, %d bytes, %d real JPEGs" % (args.dir, args.files, total, len(real_pictures)))


def write_photos(args):
    """Up to 40 photos made from noise under a blur; the rest are the first
    ones at other brightness and contrast, which is quicker to make."""
    os.makedirs(args.dir, exist_ok=True)
    rng = random.Random(args.seed)
    bases = min(args.photos, 40)
    with tempfile.TemporaryDirectory() as scratch:
        noise = os.path.join(scratch, "noise.v")
        blurred = os.path.join(scratch, "blurred.v")
        for i in range(args.photos):
            path = os.path.join(args.dir, "IMG_%04d.jpg" % i)
            if os.path.exists(path):
                continue
            if i < bases:
                subprocess.run(["vips", "gaussnoise", noise, "4000", "3000", "--mean", "128", "--sigma",
                                str(rng.randint(30, 70)), "--seed", str(args.seed * 1000 + i)], check=True)
                subprocess.run(["vips", "gaussblur", noise, blurred, str(rng.uniform(1.0, 3.0))], check=True)
                source = blurred
            else:
                source = os.path.join(args.dir, "IMG_%04d.jpg" % (i % bases))
            subprocess.run(["vips", "linear", "--uchar", source, path + "[Q=90]", "%.2f" % rng.uniform(0.8, 1.4),
                            "--", "%d" % rng.randint(-40, 30)], check=True)
    print("%s: %d photos of 4000 x 3000" % (args.dir, args.photos))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("dir")
    parser.add_argument("--files", type=int, default=30_000)
    parser.add_argument("--bytes", type=int, default=600 * 1000**2)
    parser.add_argument("--photos", type=int, default=0)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()
    if args.photos:
        write_photos(args)
    else:
        write_home(args)


if __name__ == "__main__":
    main()
