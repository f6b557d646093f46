#include "Core/apps/AppFileSizing.h"

#include "Core/files/FileManager.h"
#include "Core/finder/FileFinder.h"
#include "platform/MetadataIndex.h"

namespace Core {

std::vector<AppFile> sizeAppFiles(const std::vector<AppFileInfo>& files) { return FileFinder::makeAppFiles(files); }

std::vector<File> sizeBundleFiles(const std::vector<platform::URL>& bundles) {
    auto index = platform::MetadataIndex::shared();
    std::vector<File> out;
    out.reserve(bundles.size());
    for (const auto& url : bundles) {
        auto size = index->itemSize(url.path());
        out.emplace_back(url, size && *size >= 2 ? *size : FileManager::size(url));
    }
    return out;
}

}  // namespace Core
