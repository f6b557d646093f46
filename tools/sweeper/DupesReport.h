#pragma once
// The duplicate search of the console host, shared by `sweeper dupes` and
// the demo: run Core::DuplicateFileFinder on the main loop, then print its
// groups as text or JSON. Members are listed by path and groups by their
// first member, so that output is stable.
//
// Threading: main thread only (the search's reports arrive on the main loop).
//
//   sweeper::DupesOptions options;
//   options.roots = {"/home/a/Pictures"};
//   sweeper::searchDuplicates(options, false, [](const auto& duplicates, const auto& similar) {
//       sweeper::writeDupesJson(stdout, duplicates, similar);
//   });

#include "dff/api/DuplicateFileFinder.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <functional>
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
    unsigned threads = 0;  // 0: one per processor
};

struct DupesResult {
    Core::DuplicateGroups duplicates;
    Core::DuplicateGroups similar;
};

// Takes the groups of a finished search; they live only for the call.
using DupesHandler =
    std::function<void(const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar)>;

// Runs one search to its completion on this thread's main loop, with a
// progress bar on stderr when `showProgress`, and calls `handler` once with
// the groups, without copying them. Throws CommandError for a root that
// can't be read (1) or is no folder (2); what `handler` throws passes on.
void searchDuplicates(const DupesOptions& options, bool showProgress, const DupesHandler& handler);
// The same, keeping a copy of the groups.
DupesResult searchDuplicates(const DupesOptions& options, bool showProgress);

// What removing all but one member of each duplicate group would free.
long long reclaimableBytes(const Core::DuplicateGroups& duplicates);

// {"duplicates": [[{"path", "photoID"?, "size"}...]...], "similar": [...]},
// as a document to embed in another.
nlohmann::json dupesJson(const DupesResult& result);
// The same document written to `out` member by member, laid out as
// printJson lays it out, so that no copy of it is held whole. Paths that
// are not UTF-8 get U+FFFD for each bad sequence. Throws CommandError when
// `out` can't be written.
void writeDupesJson(std::FILE* out, const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar);

// One block per group, similar groups apart, then the bytes to free.
void printDupes(const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar);
inline void printDupes(const DupesResult& result) { printDupes(result.duplicates, result.similar); }

}  // namespace sweeper
