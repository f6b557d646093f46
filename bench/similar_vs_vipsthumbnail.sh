#!/bin/sh
# The similar-picture pass against the image library's own thumbnailer, in
# one run: the same photos, warm page cache, alternating runs. `sweeper
# dupes` decodes every photo that has no exact twin (all of them here) on
# all processors; `vipsthumbnail -s 18` makes 18-pixel thumbnails of the same
# photos in one thread. Prints photos per second of each and the ratio per
# core: (sweeper's rate / processors) / vipsthumbnail's rate.
#
#   bench/similar_vs_vipsthumbnail.sh [SWEEPER] [PHOTOS] [ROUNDS]
#
# PHOTOS defaults to a folder in the temp folder, written by
# make_home_corpus.py --photos 200 when missing.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
sweeper=${1:-build/release/tools/sweeper}
photos=${2:-${TMPDIR:-/tmp}/photos-12mp}
rounds=${3:-3}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

[ -d "$photos" ] || python3 "$here/make_home_corpus.py" --photos 200 "$photos"
count=$(find "$photos" -name '*.jpg' | wc -l)
cores=$(nproc)
echo "photos: $count in $photos, $cores processors, load average $(cut -d' ' -f1-3 /proc/loadavg)"
cat "$photos"/*.jpg > /dev/null

i=1
while [ "$i" -le "$rounds" ]; do
    /usr/bin/time -f "%e" -o "$out/t.s" "$sweeper" --json --quiet dupes "$photos" > /dev/null
    VIPS_CONCURRENCY=1 /usr/bin/time -f "%e" -o "$out/t.v" vipsthumbnail -s 18 -o "$out/%s_18.jpg" "$photos"/*.jpg
    python3 - "$count" "$cores" "$(cat "$out/t.s")" "$(cat "$out/t.v")" <<'PY'
import sys
n, cores, ours, theirs = int(sys.argv[1]), int(sys.argv[2]), float(sys.argv[3]), float(sys.argv[4])
print("sweeper %.2f s %.1f photos/s (%.1f per core)   vipsthumbnail %.2f s %.1f photos/s   ratio per core %.2f"
      % (ours, n / ours, n / ours / cores, theirs, n / theirs, (n / ours / cores) / (n / theirs)))
PY
    i=$((i + 1))
done
