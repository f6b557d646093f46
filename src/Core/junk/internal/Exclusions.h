#pragma once
// The junk scans' exclusion test: what the user asked never to see is left
// out whole, and a folder that holds an excluded path is reported as the
// pieces around it, so that deleting what is reported never reaches it.
//
// Threading: free functions, any thread. Inside a scan the listings stop
// when the running context is interrupted.

#include "Core/foundation/File.h"
#include "platform/URL.h"

#include <vector>

namespace Core::internal {

// True when `url` is an excluded URL or lies below one.
bool isExcluded(const platform::URL& url, const std::vector<platform::URL>& excluded);

// `url` alone when no excluded path exists below it; otherwise the paths of
// its contents that neither are nor hold an excluded path, and the same
// split again for those that hold one. A folder that can't be listed while
// it holds an excluded path gives nothing: its parts can't be told apart.
std::vector<platform::URL> splitAroundExclusions(const platform::URL& url, const std::vector<platform::URL>& excluded);

// The pieces of `url` around the exclusions, each measured (a regular
// file's length, a folder's allocated total).
std::vector<File> sizedPiecesAroundExclusions(const platform::URL& url, const std::vector<platform::URL>& excluded);

}  // namespace Core::internal
