#include "dff/SystemPhotoLibraryFinder.h"

#include "platform/PhotoService.h"

namespace dff {

std::optional<platform::URL> SystemPhotoLibraryFinder::getSystemPhotoLibraryPath(const std::string& applicationId) {
    auto service = platform::PhotoService::shared();
    auto value = service->preferenceValue(applicationId, "IPXDefaultLibraryURLBookmark");
    if (!value || !value->data()) return std::nullopt;
    return service->resolveBookmark(*value->data());
}

}  // namespace dff
