#include "Core/apps/AppRegistry.h"

#include "Core/apps/AppBundleLoader.h"
#include "Core/files/FileManager.h"
#include "platform/Layout.h"
#include "platform/internal/Installed.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <unordered_set>

namespace Core {
namespace {

bool isApplicationName(const std::string& name) {
    return name.size() > 4 && name.compare(name.size() - 4, 4, ".app") == 0;
}

std::optional<std::string> realPath(const std::string& path) {
    char resolved[PATH_MAX];
    if (::realpath(path.c_str(), resolved) == nullptr) return std::nullopt;
    return std::string(resolved);
}

// Depth first through plain folders, in name order; never through links,
// hidden folders or bundles.
void collectApplications(const std::string& folder, std::vector<std::string>& out,
                         std::unordered_set<std::string>& seen) {
    auto entries =
        FileManager::contentsOrEmpty(platform::URL::fileURL(folder), {ResourceKey::isDirectory, ResourceKey::isAliasFile});
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.url < b.url; });
    for (const auto& entry : entries) {
        const std::string name = entry.url.lastPathComponent();
        if (name.empty() || name[0] == '.') continue;
        const bool isLink = entry.resourceValues.isAliasFile.value_or(false);
        const bool isFolder = entry.resourceValues.isDirectory.value_or(false);
        if (isApplicationName(name)) {
            std::optional<std::string> path;
            if (isLink) {
                path = realPath(entry.url.path());
                if (path && !FileManager::resourceValues(platform::URL::fileURL(*path), {ResourceKey::isDirectory})
                                 .value_or(ResourceValues{})
                                 .isDirectory.value_or(false))
                    path.reset();
            } else if (isFolder) {
                path = entry.url.path();
            }
            if (path && seen.insert(*path).second) out.push_back(*path);
        } else if (isFolder && !isLink) {
            collectApplications(entry.url.path(), out, seen);
        }
    }
}

std::vector<std::string> listApplications() {
    const auto& layout = platform::Layout::shared();
    std::vector<std::string> out;
    std::unordered_set<std::string> seen;
    for (const auto& folder : {layout.systemPath("/Applications"), layout.systemPath("/Applications/Utilities"),
                               layout.systemPath("/System/Applications"),
                               platform::joinPath(layout.home(), "Applications")})
        collectApplications(folder, out, seen);
    return out;
}

platform::internal::Installed<AppRegistry>& installedRegistry() {
    static platform::internal::Installed<AppRegistry> registry;
    return registry;
}

}  // namespace

std::optional<std::vector<std::string>> AppRegistry::applicationPaths() const { return listApplications(); }

std::optional<std::vector<std::string>> AppRegistry::registeredBundleIDs() const {
    AppBundleLoader loader;
    std::vector<Binding> bindings;
    std::vector<std::string> ids;
    for (const auto& path : listApplications()) {
        auto bundle = loader.load(platform::URL::fileURL(path, true));
        if (!bundle) continue;
        bindings.push_back({path, bundle->bundleID().origin()});
        for (const auto& id : bundle->bundleIDs()) ids.push_back(id.origin());
    }
    std::lock_guard lock(_mutex);
    _bindings = std::move(bindings);
    return ids;
}

std::vector<std::string> AppRegistry::applicationPaths(const std::string& bundleID) const {
    bool known = false;
    {
        std::lock_guard lock(_mutex);
        known = _bindings.has_value();
    }
    if (!known) registeredBundleIDs();
    std::lock_guard lock(_mutex);
    std::vector<std::string> paths;
    const CaseInsensitiveString wanted(bundleID);
    for (const auto& binding : *_bindings)
        if (CaseInsensitiveString(binding.bundleID) == wanted) paths.push_back(binding.path);
    return paths;
}

std::shared_ptr<AppRegistry> AppRegistry::shared() { return installedRegistry().get(); }
void AppRegistry::setShared(std::shared_ptr<AppRegistry> registry) { installedRegistry().set(std::move(registry)); }

}  // namespace Core
