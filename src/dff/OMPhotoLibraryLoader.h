#pragma once
// dff::OMPhotoLibraryLoader: opens a photo library through the system's
// photo service (platform::PhotoService) and fetches its assets by
// identifier, for deleting photos. On Linux the default service opens no
// library, so fromPath gives null there.
//
// Threading: any thread, one call at a time per library.
//
//   if (auto lib = dff::OMPhotoLibraryLoader::fromPath(path))
//       auto assets = dff::OMPhotoLibraryLoader::fetchAssets(ids, lib);

#include "platform/PhotoService.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace dff {

class OMPhotoLibraryLoader {
public:
    // The service's library object for the folder `path`; null when the
    // service makes none or the object has no identifier.
    static std::shared_ptr<platform::PhotoLibraryHandle> fromPath(const std::string& path);
    // The library's assets with these identifiers; nothing when the service
    // gave no result or `library` is null.
    static std::optional<std::vector<platform::PhotoAsset>> fetchAssets(
        const std::vector<std::string>& ids, const std::shared_ptr<platform::PhotoLibraryHandle>& library);
};

}  // namespace dff
