#pragma once
// dff::hashSymlink: the digest of a symbolic link is that of its target
// text, so two links are twins when they point at the same text.
//
// Threading: safe from any thread; the target is read into a buffer of the call.
//
//   dff::HashValue digest;
//   if (dff::hashSymlink(*link, digest)) index.add(digest, link);

#include "dff/File.h"

namespace dff {

// Writes the MD5 of the link's target to `out` and gives true. Gives false,
// leaving `out` alone, when the target can't be read or its length is not
// the link's `size` (the link changed, or the target is 1024 bytes or more).
bool hashSymlink(const Symlink& link, HashValue& out);

}  // namespace dff
