#pragma once
// The roots of a search with overlaps taken out: a root given twice, a root
// and a link to it, and a root inside another root would each make the walk
// meet the same files twice, and a file would then be offered as a
// duplicate of itself. Roots are compared by their resolved paths; the ones
// kept keep the spelling and the order they were given in.
//
// Threading: pure function of the file system.
//
//   for (const Path& root : internal::distinctRoots(paths)) walk(root);

#include "dff/Path.h"

#include <vector>

namespace dff::internal {

std::vector<Path> distinctRoots(const std::vector<Path>& roots);

}  // namespace dff::internal
