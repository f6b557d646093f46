#pragma once
// makeVipsImageService: an image service on the image library loaded from a
// given file name instead of the process's own. ImageService::shared() is
// the one to use; this exists so that tests can see what a process without
// the library gets: nothing decodable, and every operation failing by value.
//
// Threading: as ImageService. The library is loaded on the first call that
// needs it, not here.
//
//   auto none = platform::internal::makeVipsImageService("libmissing.so.1");
//   none->thumbnail("/photos/a.jpg", 18);  // empty

#include "platform/ImageService.h"

#include <memory>
#include <string>

namespace platform::internal {

std::unique_ptr<ImageService> makeVipsImageService(std::string libraryName);

}  // namespace platform::internal
