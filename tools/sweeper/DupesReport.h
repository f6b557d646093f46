#pragma once
// The duplicate search of the console host, shared by `sweeper dupes` and
// the demo: run Core::DuplicateFileFinder on the main loop, then print its
// groups as text or JSON.

#include "dff/api/DuplicateFileFinder.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace sweeper {

struct DupesOptions {
    std::vector<std::string> roots;
    std::vector<std::string> excludePaths;
    std::vector<std::string> excludeExtensions;  // with or without the dot
    long long minSize = 1;
    bool hidden = false;
    bool onlyDuplicates = false;
};

struct DupesResult {
    Core::DuplicateGroups duplicates;
    Core::DuplicateGroups similar;
};

// Runs one search to its completion on this thread's main loop, with a
// progress bar on stderr when `showProgress`. Throws CommandError for a
// root that can't be read (1) or is no folder (2).
DupesResult searchDuplicates(const DupesOptions& options, bool showProgress);
// What removing all but one member of each duplicate group would free.
long long reclaimableBytes(const Core::DuplicateGroups& duplicates);
// {"duplicates": [[{"path", "size", "photoID"?}...]...], "similar": [...]}
nlohmann::json dupesJson(const DupesResult& result);
// One block per group, similar groups apart, then the bytes to free.
void printDupes(const DupesResult& result);

}  // namespace sweeper
