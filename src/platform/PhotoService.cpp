#include "platform/PhotoService.h"

#include "platform/internal/Installed.h"

namespace platform {

namespace {

internal::Installed<PhotoService>& installedService() {
    static internal::Installed<PhotoService> service;
    return service;
}

}  // namespace

// The defaults: this platform has no photo service and no preferences of the
// photo application, so every question has the answer "none".
std::optional<PlistValue> PhotoService::preferenceValue(const std::string&, const std::string&) { return std::nullopt; }
std::optional<URL> PhotoService::resolveBookmark(const PlistValue::Data&) { return std::nullopt; }
void PhotoService::enableMultiLibraryMode() {}
std::shared_ptr<PhotoLibraryHandle> PhotoService::openLibrary(const URL&, int) { return nullptr; }
// Denied: nothing may be done with photos here.
int PhotoService::authorizationStatus(int) { return 2; }

std::shared_ptr<PhotoService> PhotoService::shared() { return installedService().get(); }
void PhotoService::setShared(std::shared_ptr<PhotoService> service) { installedService().set(std::move(service)); }

}  // namespace platform
