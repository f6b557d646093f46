#pragma once
// dff::DFFFile and dff::DFFPhoto: what the exported duplicate finder hands
// out for one member of a group. A DFFFile is a file, package or folder
// (with the summed size of a package or folder); a DFFPhoto is a photo of a
// library, with its identifier in the library's database.
//
// Threading: immutable once made; shared between threads freely.
//
//   auto photo = std::make_shared<dff::DFFPhoto>("ID-1", platform::URL::fileURL("/lib/originals/a.jpg"), 1200);
//   if (dff::DFFPhoto::isImage(photo->url)) ...

#include "platform/ImageService.h"
#include "platform/URL.h"

#include <string>
#include <utility>

namespace dff {

class DFFFile {
public:
    DFFFile(platform::URL url, long long size) : url(std::move(url)), size(size) {}
    virtual ~DFFFile() = default;

    platform::URL url;
    long long size;
};

class DFFPhoto : public DFFFile {
public:
    DFFPhoto(std::string id, platform::URL url, long long size) : DFFFile(std::move(url), size), id(std::move(id)) {}

    // A thumbnail at most `size` pixels on its longer side; empty when the
    // file does not decode.
    static platform::Image createThumbnail(const platform::URL& url, int size);
    // True when the file exists and is of a type the image services decode.
    static bool isImage(const platform::URL& url);

    std::string id;
};

}  // namespace dff
