#!/bin/sh
# The disk usage scan against two peers on one generated tree: warm cache,
# alternating runs, medians of wall time and peak memory (GNU time's %M),
# and the ratios the scan is held to (wall time against the faster peer,
# memory against gdu's).
#
#   bench/du_vs_peers.sh [SWEEPER] [TREE] [ROUNDS]
#
# SWEEPER defaults to build/release/tools/sweeper, TREE to a folder in the
# temp folder (written by make_du_corpus.py when missing).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
sweeper=${1:-build/release/tools/sweeper}
tree=${2:-${TMPDIR:-/tmp}/du-corpus}
rounds=${3:-5}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

[ -d "$tree" ] || python3 "$here/make_du_corpus.py" "$tree"
echo "tree: $(find "$tree" | wc -l) entries, $(find "$tree" -type d | wc -l) folders"
# Warm the inode and dentry caches.
find "$tree" > /dev/null
ncdu -0 -o /dev/null "$tree"

i=1
while [ "$i" -le "$rounds" ]; do
    /usr/bin/time -f "%e %M" -o "$out/ncdu.$i" ncdu -0 -o /dev/null "$tree"
    /usr/bin/time -f "%e %M" -o "$out/sweeper.$i" "$sweeper" --quiet du "$tree" --depth 1 > /dev/null
    /usr/bin/time -f "%e %M" -o "$out/gdu.$i" gdu -n -p "$tree" > /dev/null
    echo "round $i: ncdu $(cat "$out/ncdu.$i")  sweeper $(cat "$out/sweeper.$i")  gdu $(cat "$out/gdu.$i")  (s KiB)"
    i=$((i + 1))
done
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"

python3 - "$out" "$rounds" <<'PY'
import statistics, sys
out, rounds = sys.argv[1], int(sys.argv[2])
med = {}
for tool in ("sweeper", "ncdu", "gdu"):
    runs = [open(f"{out}/{tool}.{i}").read().split() for i in range(1, rounds + 1)]
    med[tool] = (statistics.median(float(r[0]) for r in runs), statistics.median(int(r[1]) for r in runs))
    print(f"{tool:8} median {med[tool][0]:6.2f} s  {med[tool][1]:8d} KiB")
fastest = min(med["ncdu"][0], med["gdu"][0])
print(f"wall time / faster peer: {med['sweeper'][0] / fastest:.2f} (target 1.0 or below)")
print(f"peak RSS / gdu's:        {med['sweeper'][1] / med['gdu'][1]:.2f} (target 0.25 or below)")
PY
