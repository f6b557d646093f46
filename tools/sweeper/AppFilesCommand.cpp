// sweeper app-files [ID...]: the files of installed applications: the
// application scan, then the file scan over its entries (those named, found
// without regard to case; all when none is named). An ID that the scan
// doesn't list is named on standard error and the exit status is 1.
#include "AppScanHost.h"
#include "Command.h"
#include "Output.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace sweeper {
namespace {

int runAppFiles(const Globals& g, const std::vector<std::string>& ids) {
    AppScan scan;
    runScan(scan);
    const auto& all = *scan.recorder->apps;
    Core::AppBundleMap wanted;
    int status = 0;
    for (const auto& id : ids) {
        auto found = all.find(id);
        if (found == all.end()) {
            std::fprintf(stderr, "no installed application %s\n", id.c_str());
            status = 1;
            continue;
        }
        wanted.insert(*found);
    }
    runAppFiles(scan, ids.empty() ? all : wanted);

    const auto& reports = scan.recorder->appFiles;
    if (g.json) {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& report : reports) {
            nlohmann::json bundles = nlohmann::json::array();
            for (const auto& bundle : report.bundleFiles)
                bundles.push_back({{"path", bundle.url().path()}, {"size", bundle.size()}});
            nlohmann::json files = nlohmann::json::array();
            for (const auto& file : report.files) files.push_back(appFileJson(file, true));
            list.push_back({{"id", report.id.origin()}, {"bundleFiles", bundles}, {"files", files}});
        }
        printJson({{"apps", list}});
        return status;
    }
    for (const auto& report : reports) {
        std::printf("%s\n", report.id.origin().c_str());
        for (const auto& bundle : report.bundleFiles)
            std::printf("  bundle\t%s\t%s\n", bundle.sizeString().c_str(), bundle.url().path().c_str());
        for (const auto& file : report.files)
            std::printf("  %s\t%s\t%s\t(%s)\n", file.kind().rawValue().c_str(), file.sizeString().c_str(),
                        file.url().path().c_str(), file.owner().id().origin().c_str());
    }
    if (!g.quiet) std::fprintf(stderr, "%zu applications\n", reports.size());
    return status;
}

const CommandRegistration registration{
    {"app-files"}, "List the files of installed applications, with sizes and owners",
    [](CLI::App& cmd, Globals& g) -> Action {
        auto ids = std::make_shared<std::vector<std::string>>();
        cmd.add_option("ID", *ids, "Bundle identifiers of scanned applications (all when none)");
        return [ids, &g] { return runAppFiles(g, *ids); };
    }};

}  // namespace
}  // namespace sweeper
