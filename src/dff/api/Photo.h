#pragma once
// Core::Photo: a photo of a library as the host sees it, its identifier in
// the library's database and its file. Two photos are equal when their
// files' URLs are; the identifier plays no part. Also the host's image
// helpers: is a path a decodable picture, and a thumbnail of it.
//
// Threading: a plain value. The helpers may be called from any thread.
//
//   if (platform::Image thumb = Core::Photo::createThumbnailIfIsImage("/p/a.jpg", 200)) show(thumb);

#include "Core/foundation/File.h"
#include "platform/ImageService.h"

#include <cstdint>
#include <string>
#include <utility>

namespace Core {

struct Photo {
    std::string id;
    File file;

    friend bool operator==(const Photo& a, const Photo& b) { return a.file.url() == b.file.url(); }

    // True when the file exists and is of a type the image services decode.
    static bool isImage(const std::string& path);
    // A thumbnail at most `width` pixels on its longer side; empty when the
    // file does not decode.
    static platform::Image createImageThumbnail(const std::string& path, int32_t width);
    // Empty when the file does not exist or is no image (the decoder is not
    // asked then); otherwise createImageThumbnail.
    static platform::Image createThumbnailIfIsImage(const std::string& path, int32_t width);
};

}  // namespace Core
