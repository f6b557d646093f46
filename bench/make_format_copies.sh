#!/bin/sh
# Pairs of one picture in two formats, for checking that the similar pass
# finds a picture and its copy in another format alike: the first COUNT real
# JPEGs of a home-like corpus (make_home_corpus.py), each kept as pN.jpg and
# written once more by the `vips` tool as pN.tif, pN.gif or pN.webp in turn.
#
#   bench/make_format_copies.sh /tmp/home-corpus /tmp/format-copies [COUNT]
#   sweeper --json --quiet dupes /tmp/format-copies     # COUNT groups of two under "similar"
set -eu
corpus=$1
out=$2
count=${3:-45}
mkdir -p "$out"
n=0
for f in $(find "$corpus" -name '*.jpg' -size -60k | sort); do
    # Only files that hold a JPEG; most picture names in the corpus lie.
    [ "$(head -c 3 "$f" | od -An -tx1 | tr -d ' ')" = "ffd8ff" ] || continue
    n=$((n + 1))
    case $((n % 3)) in 0) ext=tif ;; 1) ext=gif ;; *) ext=webp ;; esac
    cp "$f" "$out/p$n.jpg"
    vips copy "$f" "$out/p$n.$ext"
    [ "$n" -ge "$count" ] && break
done
echo "$out: $n pictures, each also as TIFF, GIF or WebP"
