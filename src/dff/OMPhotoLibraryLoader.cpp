#include "dff/OMPhotoLibraryLoader.h"

namespace dff {

std::shared_ptr<platform::PhotoLibraryHandle> OMPhotoLibraryLoader::fromPath(const std::string& path) {
    auto service = platform::PhotoService::shared();
    service->enableMultiLibraryMode();
    auto library = service->openLibrary(platform::URL::fileURL(path, true), 0);
    if (!library || library->uuid().empty()) return nullptr;
    return library;
}

std::optional<std::vector<platform::PhotoAsset>> OMPhotoLibraryLoader::fetchAssets(
    const std::vector<std::string>& ids, const std::shared_ptr<platform::PhotoLibraryHandle>& library) {
    if (!library) return std::nullopt;
    return library->fetchObjects(ids, "Asset");
}

}  // namespace dff
