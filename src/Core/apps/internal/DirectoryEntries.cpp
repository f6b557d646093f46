#include "Core/apps/internal/DirectoryEntries.h"

#include "Core/files/FileManager.h"

#include <algorithm>

namespace Core::internal {

std::vector<DirectoryEntry> directoryEntries(const platform::URL& folder) {
    std::vector<DirectoryEntry> entries;
    for (auto& resource : FileManager::contentsOrEmpty(folder, {ResourceKey::isDirectory}))
        entries.push_back({std::move(resource.url), resource.resourceValues.isDirectory.value_or(false)});
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.url < b.url; });
    return entries;
}

}  // namespace Core::internal
