// sweeper leftovers [--files] [--exclude-id ID]...: what removed
// applications left in the user's library. Runs as the host does on one
// finder: the warm-up, the application scan, the file scan of every
// application (not printed: it marks what installed applications claim, so
// that none of it is offered), the leftover list, and with --files the
// files of every listed id.
#include "AppScanHost.h"
#include "Command.h"
#include "Output.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace sweeper {
namespace {

struct LeftoverOptions {
    bool files = false;
    std::vector<std::string> excluded;
};

int runLeftovers(const Globals& g, const LeftoverOptions& o) {
    Core::AppFileFinder::prepare();
    waitUntilPrepared();
    AppScan scan;
    runScan(scan);
    runAppFiles(scan, *scan.recorder->apps);
    scan.finder->excludeLeftoverIds = o.excluded;
    runLeftoversList(scan);
    const auto& ids = scan.recorder->leftoverIds;
    if (o.files) runLeftoverFiles(scan, std::vector<Core::CaseInsensitiveString>(ids.begin(), ids.end()));

    const auto& reports = scan.recorder->leftoverFiles;
    if (g.json) {
        nlohmann::json files = nlohmann::json::object();
        for (const auto& report : reports) {
            nlohmann::json list = nlohmann::json::array();
            for (const auto& file : report.files) list.push_back(appFileJson(file, false));
            files[report.id.origin()] = list;
        }
        printJson({{"ids", ids}, {"files", files}});
        return 0;
    }
    if (!o.files) {
        for (const auto& id : ids) std::printf("%s\n", id.c_str());
    }
    for (const auto& report : reports) {
        std::printf("%s\n", report.id.origin().c_str());
        for (const auto& file : report.files)
            std::printf("  %s\t%s\t%s\n", file.kind().rawValue().c_str(), file.sizeString().c_str(),
                        file.url().path().c_str());
    }
    if (!g.quiet) std::fprintf(stderr, "%zu leftover ids\n", ids.size());
    return 0;
}

const CommandRegistration registration{
    {"leftovers"}, "List what removed applications left behind, and with --files their files",
    [](CLI::App& cmd, Globals& g) -> Action {
        auto o = std::make_shared<LeftoverOptions>();
        cmd.add_flag("--files", o->files, "Also find the files of every listed id");
        cmd.add_option("--exclude-id", o->excluded, "An id never to list (repeatable)");
        return [o, &g] { return runLeftovers(g, *o); };
    }};

}  // namespace
}  // namespace sweeper
