#pragma once
// Removal of a file or a whole folder that never follows a symbolic link:
// from "/" down to the given path and below it every step is relative to an
// open folder descriptor opened with O_NOFOLLOW, so a link on the way makes
// the removal fail, a link inside the tree is removed as a link, and what it
// points to is never touched. Nothing on another device than the path's own
// is touched. With `shred`, regular files are
// overwritten before they are unlinked, unless other hard links still show
// the same data.
//
// Threading: any thread; no shared state.
//
//   bool gone = internal::removeTree("/tmp/x", false, [] { return true; });

#include <functional>
#include <string>

namespace Core::internal {

// True for an absolute path other than "/" without "." or ".." parts.
bool isRemovablePath(const std::string& path);
// Fails at once for a path that isRemovablePath refuses. `proceed` is
// asked before each entry; returning false stops the removal (the path then
// stays partly removed and the result is false).
bool removeTree(const std::string& path, bool shred, const std::function<bool()>& proceed);

}  // namespace Core::internal
