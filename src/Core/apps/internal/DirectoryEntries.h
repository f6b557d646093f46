#pragma once
// The entries of a folder for the bundle walks: sorted by name, so that the
// identifiers come out in the same order on every machine, and told apart
// as real folders or anything else (a symbolic link is never a folder here).
// A folder that can't be listed has no entries.

#include "platform/URL.h"

#include <vector>

namespace Core::internal {

struct DirectoryEntry {
    platform::URL url;
    bool isDirectory = false;
};

std::vector<DirectoryEntry> directoryEntries(const platform::URL& folder);

}  // namespace Core::internal
