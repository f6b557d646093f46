#!/usr/bin/env python3
"""Writes a macOS-like system for benchmarking the junk scan.

Under DIR: "Applications" with APPS application bundles (some in vendor
folders, among them browsers and the development environment), the system's
caches and logs ("Library/Caches", "Library/Logs", "private/var/log",
"private/var/db/diagnostics"), and a home "Users/bench" with the caches and
logs of every installed application, those of removed applications,
containers, a trash, disk images among downloads, and documents that no rule
names. About FILES files in all (default 300 and 200,000). Folder sizes are
uneven: most caches are small, a few are large. The same seed gives the
same corpus. The corpus belongs in a temp folder and is never committed.

    python3 bench/make_junk_corpus.py /tmp/junk-corpus
"""

import argparse
import os
import random

BROWSERS = ["com.google.Chrome", "org.mozilla.firefox", "com.brave.Browser"]
PLIST = """<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
<key>CFBundleIdentifier</key><string>{id}</string>
<key>CFBundleName</key><string>{name}</string>
<key>CFBundleExecutable</key><string>{name}</string>
<key>CFBundlePackageType</key><string>APPL</string>
</dict></plist>
"""


class Writer:
    def __init__(self, rng):
        self.rng = rng
        self.files = 0

    def file(self, path, size=None, data=None):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        if data is None:
            size = size if size is not None else int(self.rng.paretovariate(1.3) * 600)
            data = b"j" * min(size, 4 << 20)
        with open(path, "wb") as f:
            f.write(data)
        self.files += 1

    def folder(self, base, count, depth=2):
        """`count` files spread over a few nested folders."""
        for i in range(count):
            parts = [base] + ["d%d" % self.rng.randrange(4) for _ in range(self.rng.randrange(depth + 1))]
            self.file(os.path.join(*parts, "f%05d.bin" % i))


def uneven(rng, total, parts):
    """`total` split into `parts` heavy-tailed shares."""
    weights = [rng.paretovariate(1.1) for _ in range(parts)]
    scale = total / sum(weights)
    return [max(1, int(w * scale)) for w in weights]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("dir")
    parser.add_argument("--apps", type=int, default=300)
    parser.add_argument("--files", type=int, default=200_000)
    parser.add_argument("--seed", type=int, default=15)
    args = parser.parse_args()
    rng = random.Random(args.seed)
    w = Writer(rng)
    root = os.path.abspath(args.dir)
    home = os.path.join(root, "Users", "bench")
    lib = os.path.join(home, "Library")

    ids = BROWSERS + ["com.apple.dt.Xcode"] + ["com.vendor%02d.App%03d" % (i % 40, i) for i in range(args.apps - 4)]
    for i, bid in enumerate(ids):
        name = "App%03d" % i
        folder = os.path.join(root, "Applications", *(["Vendor%02d" % (i % 40)] if i % 5 == 0 else []))
        contents = os.path.join(folder, name + ".app", "Contents")
        w.file(os.path.join(contents, "Info.plist"), data=PLIST.format(id=bid, name=name).encode())
        w.file(os.path.join(contents, "MacOS", name), size=2048)
    removed = ["com.removed%02d.Tool%03d" % (i % 20, i) for i in range(args.apps // 3)]

    budget = args.files - w.files
    shares = {"appCaches": 0.40, "appLogs": 0.05, "removed": 0.12, "containers": 0.08, "system": 0.10,
              "trash": 0.05, "documents": 0.20}
    for bid, n in zip(ids, uneven(rng, budget * shares["appCaches"], len(ids))):
        w.folder(os.path.join(lib, "Caches", bid), n)
    for bid, n in zip(ids, uneven(rng, budget * shares["appLogs"], len(ids))):
        w.folder(os.path.join(lib, "Logs", bid), n, depth=0)
    for bid, n in zip(removed, uneven(rng, budget * shares["removed"], len(removed))):
        w.folder(os.path.join(lib, "Caches", bid), n)
    for bid, n in zip(ids[::3], uneven(rng, budget * shares["containers"], len(ids[::3]))):
        w.folder(os.path.join(lib, "Containers", bid, "Data", "Library", "Caches", bid), n)
    system = uneven(rng, budget * shares["system"], 60)
    for i, n in enumerate(system[:40]):
        w.folder(os.path.join(root, "Library", "Caches", "com.system%02d.cache" % i), n)
    for i, n in enumerate(system[40:55]):
        w.folder(os.path.join(root, "Library", "Logs", "Service%02d" % i), n, depth=0)
    w.folder(os.path.join(root, "private", "var", "db", "diagnostics"), system[55])
    for stem in ["system", "install", "wifi", "fsck_apfs", "Install", "other"]:
        for k in range(40):
            w.file(os.path.join(root, "private", "var", "log", "%s.log%d.gz" % (stem, k)))
    for i, n in enumerate(uneven(rng, budget * shares["trash"], 50)):
        w.folder(os.path.join(home, ".Trash", "Trashed %02d" % i), n)
    trailer = b"koly" + bytes(508)
    for i in range(8):
        w.file(os.path.join(home, "Downloads", "Installer %d.dmg" % i), data=b"d" * rng.randrange(1 << 20) + trailer)
    left = args.files - w.files
    w.folder(os.path.join(home, "Documents"), max(0, left), depth=3)
    print("%d files under %s (home %s)" % (w.files, root, home))


if __name__ == "__main__":
    main()
