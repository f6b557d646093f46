#!/bin/sh
# Duplicate search against the peer, side by side in one run: same corpus,
# warm page cache, alternating runs; wall time and peak memory of each, and
# whether both found the same groups of regular files.
#
#   bench/dupes_vs_jdupes.sh [SWEEPER] [CORPUS] [ROUNDS]
#
# SWEEPER defaults to build/release/tools/sweeper, CORPUS to a folder in the
# temp folder (written by make_dupes_corpus.py when missing). DUPES_OPTIONS
# holds the options of `sweeper dupes`, "--only-duplicates" unless set (set
# it empty for the default search, similar pictures included).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
sweeper=${1:-build/release/tools/sweeper}
corpus=${2:-${TMPDIR:-/tmp}/dupes-corpus}
rounds=${3:-3}
options=${DUPES_OPTIONS---only-duplicates}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

[ -d "$corpus" ] || python3 "$here/make_dupes_corpus.py" "$corpus"
echo "corpus: $(find "$corpus" -type f | wc -l) files, $(du -sb "$corpus" | cut -f1) bytes"
# Warm the page cache.
find "$corpus" -type f -print0 | xargs -0 cat > /dev/null

i=1
while [ "$i" -le "$rounds" ]; do
    /usr/bin/time -f "jdupes  %e s  %M KiB" -o "$out/time.j.$i" jdupes -r -q "$corpus" > "$out/jdupes.txt"
    /usr/bin/time -f "sweeper %e s  %M KiB" -o "$out/time.s.$i" \
        "$sweeper" --json --quiet dupes $options "$corpus" > "$out/sweeper.json"
    cat "$out/time.j.$i" "$out/time.s.$i"
    i=$((i + 1))
done

python3 - "$out/jdupes.txt" "$out/sweeper.json" <<'PY'
import hashlib, json, os, sys

def jdupes_groups(path):
    groups, group = [], []
    for line in open(path, encoding="utf-8", errors="surrogateescape"):
        line = line.rstrip("\n")
        if line:
            group.append(line)
        elif group:
            groups.append(group); group = []
    if group: groups.append(group)
    return groups

# Folders reported whole stand for the files inside them: those pair up by
# their content, as folder names play no part in a folder's equality.
parent = {}
def find(x):
    while parent.setdefault(x, x) != x:
        parent[x] = parent[parent[x]]; x = parent[x]
    return x
def union(a, b): parent[find(a)] = find(b)

doc = json.load(open(sys.argv[2]))
for group in doc["duplicates"]:
    paths = [m["path"] for m in group]
    if all(os.path.isfile(p) and not os.path.islink(p) for p in paths):
        for p in paths[1:]: union(paths[0], p)
    elif all(os.path.isdir(p) for p in paths):
        byContent = {}
        for top in paths:
            for root, _, files in os.walk(top):
                for name in files:
                    f = os.path.join(root, name)
                    with open(f, "rb") as h:
                        byContent.setdefault(hashlib.md5(h.read()).digest(), []).append(f)
        for same in byContent.values():
            for p in same[1:]: union(same[0], p)
components = {}
for p in list(parent): components.setdefault(find(p), set()).add(p)
ours = {frozenset(c) for c in components.values() if len(c) > 1}
theirs = {frozenset(g) for g in jdupes_groups(sys.argv[1])}
print("groups: sweeper %d, jdupes %d, same: %s" % (len(ours), len(theirs), ours == theirs))
if ours != theirs:
    print("only sweeper:", len(ours - theirs), "only jdupes:", len(theirs - ours))
    sys.exit(1)
PY
