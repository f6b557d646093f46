#include "Core/apps/WrappedBundle.h"

#include "Core/apps/internal/DirectoryEntries.h"
#include "platform/Bundle.h"

#include <sys/stat.h>

#include <algorithm>

namespace Core {

namespace {

// Following links: "WrappedBundle" itself is often one.
bool isDirectoryOrLinkToOne(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

std::optional<WrappedBundle> WrappedBundle::load(const platform::URL& url, std::shared_ptr<IOSAppUUIDMapper> uuidMapper) {
    const platform::URL wrapped = url.appending("WrappedBundle");
    if (!uuidMapper || !isDirectoryOrLinkToOne(wrapped.path())) return std::nullopt;
    auto bundle = platform::openBundle(wrapped);
    if (!bundle || !bundle->identifier) return std::nullopt;

    WrappedBundle result;
    result._url = url;
    result._bundleID = *bundle->identifier;
    result._bundleIDs.push_back(result._bundleID);
    if (const auto* name = bundle->infoDictionary.find("CFBundleName"); name != nullptr && name->string() != nullptr)
        result._bundleNames.emplace_back(*name->string());
    result._uuidMapper = std::move(uuidMapper);
    return result;
}

void WrappedBundle::loadNestedBundles() {
    for (const auto& entry : internal::directoryEntries(_url.appending("WrappedBundle").appending("PlugIns"))) {
        if (!entry.isDirectory) continue;
        if (auto plugIn = platform::openBundle(entry.url); plugIn && plugIn->identifier)
            _bundleIDs.emplace_back(*plugIn->identifier);
    }
    // The containers of the application and of each plug-in count as the
    // application's own identifiers.
    const auto owners = _bundleIDs;
    for (const auto& owner : owners) {
        for (auto& uuid : _uuidMapper->uuidNames(owner)) {
            CaseInsensitiveString id(std::move(uuid));
            if (std::find(_bundleIDs.begin(), _bundleIDs.end(), id) == _bundleIDs.end()) _bundleIDs.push_back(std::move(id));
        }
    }
}

}  // namespace Core
