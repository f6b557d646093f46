#pragma once
// A treemap picture of a disk usage tree for `sweeper du --svg`: squarified
// rectangles, one colour per top-level folder, lighter by level, labelled
// where there is room. Every drawn node is an SVG <rect> with absolute
// coordinates, its path in "data-path", its size in "data-size" and a
// <title> tooltip. A folder's children share its inner rectangle (its own
// less a margin and a label strip) in proportion to their sizes; entries of
// size 0 have no area and aren't drawn.

#include "disk/DiskFileTreeNode.h"

#include <string>
#include <vector>

namespace sweeper {

struct TreemapRect {
    double x, y, width, height;
};

// Lays out `sizes` (largest first, each above 0) in `area` by the
// squarified method: areas in proportion to the sizes, rows laid along the
// shorter side, each row closed when another entry would make its worst
// aspect ratio worse.
std::vector<TreemapRect> squarify(const std::vector<double>& sizes, const TreemapRect& area);

// Draws `root` down to `depth` levels below it into the file `path`;
// throws CommandError when the file can't be written.
void writeTreemapSvg(const std::string& path, const Core::DiskFileTreeNode& root, int depth);

}  // namespace sweeper
