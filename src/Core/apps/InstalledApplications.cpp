#include "Core/apps/InstalledApplications.h"

#include "Core/apps/AppRegistry.h"
#include "Core/files/FileManager.h"
#include "platform/Layout.h"
#include "platform/Strings.h"

#include <sys/stat.h>

#include <climits>
#include <cstdlib>
#include <unordered_set>

namespace Core {
namespace {

bool exists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

// The path as the system would see it: a path below the layout's root
// loses the root, so that the root's own folders don't count.
std::string systemView(const std::string& path) {
    const std::string root = platform::trimTrailingSlashes(platform::Layout::shared().root());
    if (root != "/" && path.starts_with(root + "/")) return path.substr(root.size());
    return path;
}

}  // namespace

std::vector<std::string> applicationAliasTargets() {
    std::vector<std::string> targets;
    const auto entries = FileManager::contentsOrEmpty(
        platform::URL::fileURL(platform::Layout::shared().systemPath("/Applications")), {ResourceKey::isAliasFile});
    for (const auto& entry : entries) {
        if (!entry.resourceValues.isAliasFile.value_or(false)) continue;
        char resolved[PATH_MAX];
        if (::realpath(entry.url.path().c_str(), resolved) != nullptr) targets.emplace_back(resolved);
    }
    return targets;
}

bool passesApplicationPathTest(const std::string& path) {
    const std::string seen = systemView(path);
    if (seen.find("/.") != std::string::npos) return false;
    const std::string lower = platform::lowercase(seen);
    for (const char* part : {"/applications (parallels)/", ".vmwarevk/", ".pvm/", "framework/", ".bundle/"})
        if (lower.find(part) != std::string::npos) return false;
    return true;
}

std::vector<platform::URL> installedApplicationURLs(const std::vector<std::string>& roots) {
    auto registry = AppRegistry::shared();
    std::vector<std::string> paths;
    std::unordered_set<std::string> taken;
    for (auto& path : registry->applicationPaths().value_or(std::vector<std::string>{}))
        if (!path.empty() && taken.insert(path).second) paths.push_back(std::move(path));
    for (const auto& id : registry->registeredBundleIDs().value_or(std::vector<std::string>{}))
        for (auto& path : registry->applicationPaths(id))
            if (exists(path) && taken.insert(path).second) paths.push_back(std::move(path));

    const auto aliases = applicationAliasTargets();
    std::vector<platform::URL> urls;
    for (const auto& path : paths) {
        if (!roots.empty()) {
            bool kept = false;
            for (const auto& root : roots) kept = kept || path.starts_with(root);
            for (const auto& alias : aliases) kept = kept || path == alias;
            if (!kept) continue;
        }
        if (passesApplicationPathTest(path)) urls.push_back(platform::URL::fileURL(path, true));
    }
    return urls;
}

}  // namespace Core
