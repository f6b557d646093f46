#pragma once
// The junk scan of the console host, shared by `sweeper junk` and the demo:
// run Core::JunkFileFinder on the main loop, keeping every delegate call as
// it arrived, then print a summary by category or the JSON document.
//
// Threading: main thread only (the scan reports on the main loop).
//
//   sweeper::JunkOptions options;                 // every category on
//   auto result = sweeper::scanJunk(options, showProgress);
//   g.json ? sweeper::printJson(sweeper::junkJson(result)) : sweeper::printJunkSummary(result);

#include "Core/foundation/AppFile.h"
#include "Core/foundation/File.h"
#include "Core/junk/JunkFileFinderConfig.h"
#include "Core/junk/MacAppJunkFile.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Core {
class AppJunkFinder;
}

namespace sweeper {

struct JunkOptions {
    Core::JunkFileFinderConfig config{true, true, true, true, true, true, true, true, true};
    std::vector<std::string> excludeFiles;  // paths as they lie on disk
    std::vector<std::string> excludeApps;
    std::vector<std::string> excludeIDs;
};

// Every delegate call of one scan, in the order it came.
struct JunkResult {
    std::vector<Core::File> systemCaches, systemLogs, trash, diskImages;
    std::vector<Core::MacAppJunkFile> appJunk, internetCaches;
    std::vector<Core::AppJunkFile> orphanJunk;
    std::optional<Core::File> purgeable;
};

// Runs a whole scan; with `showProgress` a bar with the fraction and the
// current path is drawn on standard error. `apps` replaces the application
// part over the shared rules.
JunkResult scanJunk(const JunkOptions& options, bool showProgress,
                    std::shared_ptr<Core::AppJunkFinder> apps = nullptr);

// {"systemCaches": [...], ..., "purgeable": F or null}, all eight keys.
nlohmann::json junkJson(const JunkResult& result);

// One line per category: how many items, and their total size.
void printJunkSummary(const JunkResult& result);

}  // namespace sweeper
