#pragma once
// dff::SystemPhotoLibraryFinder: where the system photo library lies, as the
// photo application's preferences record it (a bookmark under
// "IPXDefaultLibraryURLBookmark"), asked through platform::PhotoService.
//
// Threading: any thread.
//
//   if (auto url = dff::SystemPhotoLibraryFinder::getSystemPhotoLibraryPath("com.apple.Photos"))
//       finder.paths.push_back(url->path());

#include "platform/URL.h"

#include <optional>
#include <string>

namespace dff {

class SystemPhotoLibraryFinder {
public:
    // The library's URL; nothing when the preference is not set, is not data,
    // or its bookmark can't be resolved.
    static std::optional<platform::URL> getSystemPhotoLibraryPath(const std::string& applicationId);
};

}  // namespace dff
