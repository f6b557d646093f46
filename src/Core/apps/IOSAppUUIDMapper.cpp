#include "Core/apps/IOSAppUUIDMapper.h"

#include "Core/apps/internal/DirectoryEntries.h"
#include "Core/files/PlistContent.h"
#include "platform/Layout.h"

#include <algorithm>
#include <cctype>

namespace Core {

IOSAppUUIDMapper::IOSAppUUIDMapper(std::optional<std::string> userLibrary) : _userLibrary(std::move(userLibrary)) {}

bool IOSAppUUIDMapper::isUUID(std::string_view name) {
    static constexpr size_t kGroups[] = {8, 4, 4, 4, 12};
    size_t at = 0;
    for (size_t g = 0; g < 5; ++g) {
        if (g > 0) {
            if (at >= name.size() || name[at] != '-') return false;
            ++at;
        }
        for (size_t i = 0; i < kGroups[g]; ++i, ++at)
            if (at >= name.size() || !std::isxdigit(static_cast<unsigned char>(name[at]))) return false;
    }
    return at == name.size();
}

void IOSAppUUIDMapper::fillLocked() {
    if (_filled) return;
    _filled = true;
    const std::string library = _userLibrary.value_or(platform::Layout::shared().userLibrary());
    for (const char* folder : {"Containers", "Application Scripts", "Preferences"}) {
        for (const auto& entry : internal::directoryEntries(platform::URL::fileURL(platform::joinPath(library, folder)))) {
            const std::string uuid = entry.url.lastPathComponent();
            if (!entry.isDirectory || !isUUID(uuid)) continue;
            auto metadata = readPlistContent(entry.url.appending(".com.apple.containermanagerd.metadata.plist").path());
            if (!metadata) continue;
            auto owner = metadata->find("MCMMetadataIdentifier");
            if (owner == metadata->end() || owner->second.string() == nullptr) continue;
            auto& containers = _uuids[CaseInsensitiveString(*owner->second.string())];
            // The same UUID can stand under several of the folders.
            if (std::none_of(containers.begin(), containers.end(), [&](const auto& c) { return c.uuid == uuid; }))
                containers.push_back({uuid, entry.url});
        }
    }
}

std::vector<std::string> IOSAppUUIDMapper::uuidNames(const CaseInsensitiveString& bundleID) {
    std::vector<std::string> names;
    {
        std::lock_guard lock(_lock);
        fillLocked();
        auto found = _uuids.find(bundleID);
        if (found == _uuids.end()) return names;
        for (const auto& container : found->second) names.push_back(container.uuid);
    }
    std::sort(names.begin(), names.end());
    return names;
}

IOSAppUUIDMapper::Map IOSAppUUIDMapper::uuids() {
    std::lock_guard lock(_lock);
    fillLocked();
    return _uuids;
}

void IOSAppUUIDMapper::clear() {
    std::lock_guard lock(_lock);
    _uuids.clear();
    _filled = false;
}

}  // namespace Core
