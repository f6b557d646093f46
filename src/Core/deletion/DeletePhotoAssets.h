#pragma once
// deletePhotoAssets: asks the photo service to delete assets of a library by
// their identifiers. The service may ask the user first, who may refuse.
// Analytics: event 49 when asked, event 50 with the outcome ("info" when the
// library or its assets can't be had; "stat" "true", "auth_err" or
// "other_err" with "tm" and "num" after the service's answer).
//
// Threading: call on the main thread. The completion comes on the main
// queue; when the library or the assets can't be had, at once, before this
// returns. Its flags: success, and whether the service refused for want of
// authorization (status restricted or denied).
//
//   Core::deletePhotoAssets(libraryPath, {"A1", "B2"}, [](bool ok, bool authorizationFailed) { ... });

#include <functional>
#include <string>
#include <vector>

namespace Core {

void deletePhotoAssets(const std::string& libraryPath, const std::vector<std::string>& ids,
                       std::function<void(bool success, bool authorizationFailed)> completion);

}  // namespace Core
