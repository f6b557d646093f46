// sweeper apps: the installed applications as the application scan lists
// them: each entry with its bundles and the auxiliary applications folded
// into it. No order is promised.
#include "AppScanHost.h"
#include "Command.h"
#include "Output.h"

#include <cstdio>

namespace sweeper {
namespace {

int runApps(const Globals& g) {
    AppScan scan;
    runScan(scan);
    const auto folded = foldedApps(scan);
    const auto& apps = *scan.recorder->apps;
    if (g.json) {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& [id, bundles] : apps) {
            nlohmann::json paths = nlohmann::json::array();
            for (const auto& bundle : bundles) paths.push_back(bundle->url().path());
            auto sub = folded.find(id);
            list.push_back({{"id", id.origin()},
                            {"bundles", paths},
                            {"subApps", sub == folded.end() ? nlohmann::json::array() : nlohmann::json(sub->second)}});
        }
        printJson({{"apps", list}});
        return 0;
    }
    for (const auto& [id, bundles] : apps) {
        std::printf("%s\n", id.origin().c_str());
        for (const auto& bundle : bundles) std::printf("  %s\n", bundle->url().path().c_str());
        if (auto sub = folded.find(id); sub != folded.end())
            for (const auto& subID : sub->second) std::printf("  + %s\n", subID.c_str());
    }
    if (!g.quiet) std::fprintf(stderr, "%zu applications\n", apps.size());
    return 0;
}

const CommandRegistration registration{
    {"apps"}, "List the installed applications with their bundles and folded helpers",
    [](CLI::App&, Globals& g) -> Action { return [&g] { return runApps(g); }; }};

}  // namespace
}  // namespace sweeper
