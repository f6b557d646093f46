#pragma once
// ImageService: the platform's image services, on libvips and, for the gray
// pictures of JPEG and PNG files, on its own decoders over the two codec
// libraries (internal/PictureDecoders.h). It gives what the
// duplicate engine needs to compare pictures: which uniform type identifiers
// can be decoded, a small thumbnail made with shrink-on-load and turned by
// the orientation tag, a gray stretch of that thumbnail into an exact W x H
// buffer, and the EXIF original date text.
//
// A file reaches the library only when its first bytes carry the signature
// of a decodable format (platform::ImageFormat), and then only that format's
// own loader reads it: the library's search through all its loaders, some
// of which open files as databases or documents, is never asked.
//
// libvips is not linked: it is opened on the first call that needs it (a
// program that decodes nothing, or only JPEG and PNG gray pictures, never
// maps it). Where it cannot be opened,
// nothing is decodable and every operation fails by value, as it does for an
// undecodable file; one line says why in platform::log.
//
// Threading: every call may be made from any thread. libvips is started once
// per process on first use and never shut down; its operation cache is
// switched off, so a file that changes on disk is read again. An `Image` may be passed between threads but not used by two at once.
//
//   auto& images = platform::ImageService::shared();
//   platform::Image thumb = images.thumbnail("/photos/a.jpg", 18);
//   if (thumb) auto pixels = images.pixels(images.grayStretch(thumb, 18, 16));

#include "platform/FileTypes.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

struct _VipsImage;

namespace platform {

// A decoded (possibly lazy) image, shared by reference. Empty when the
// operation that made it failed.
class Image {
public:
    Image() = default;
    explicit operator bool() const { return _image != nullptr; }
    // 0 for an empty image.
    int width() const;
    int height() const;
    int bands() const;

    // Takes over one reference of `image` (may be null).
    static Image adopt(_VipsImage* image);
    _VipsImage* get() const { return _image.get(); }

private:
    std::shared_ptr<_VipsImage> _image;
};

class ImageService {
public:
    virtual ~ImageService() = default;

    // The process-wide libvips service.
    static ImageService& shared();

    // The uniform type identifiers ("public.jpeg", "public.png", ...) of the
    // decodable formats (platform::imageTypeIdentifiers): JPEG and PNG, and
    // those whose loader the installed library has; made once and kept for
    // the life of the process.
    virtual const std::unordered_set<std::string>& decodableTypeIdentifiers() = 0;

    // The identifier for a file name extension without its dot, compared
    // without case ("JPG" -> "public.jpeg"); "" when it names no known
    // image format.
    virtual std::string typeIdentifierForExtension(std::string_view extension) = 0;

    // A thumbnail of the first page or frame of the file at `path`, at most
    // `maxPixelSize` pixels on its longer side (never enlarged), turned as its
    // orientation tag says. Decoding is lazy: the pixels are made when they
    // are read. Empty when the file cannot be opened or holds no decodable
    // format.
    virtual Image thumbnail(const std::string& path, int maxPixelSize) = 0;

    // `image` in one 8-bit gray band, alpha flattened onto black, stretched
    // to exactly `width` x `height` whatever its aspect. Empty on failure
    // (an empty input, sizes below 1).
    virtual Image grayStretch(const Image& image, int width, int height) = 0;

    // The pixels of an 8-bit image, row by row, bands interleaved. This is
    // where a lazy image is decoded; nothing when decoding fails.
    virtual std::optional<std::vector<uint8_t>> pixels(const Image& image) = 0;

    // The EXIF DateTimeOriginal text of the file, as stored. Nothing when
    // the file does not open as an image or has no such tag.
    virtual std::optional<std::string> exifDateTimeOriginal(const std::string& path) = 0;

    // What comparing a picture needs, from one open file.
    struct GrayPicture {
        std::vector<uint8_t> pixels;  // width * height gray bytes, row by row
        std::optional<std::string> dateTimeOriginal;  // as exifDateTimeOriginal
    };
    // The picture in the file open at `descriptor`, which the caller found
    // to be of `format`, read by that format's decoder only: its thumbnail
    // at most `width` on its longer side, made gray and stretched to exactly
    // `width` x `height`, and its date. The descriptor stays the caller's to
    // close; its offset is left undefined. Nothing when it does not decode.
    // JPEGs and PNGs (but CMYK JPEGs) are decoded without the library; the
    // library decodes the rest. Either way the gray steps are the same (a
    // JPEG's luma weights, an area average, transparency onto black), so a
    // picture gives the same gray picture in any format; they are close to
    // what thumbnail and grayStretch give, not equal to it. An empty
    // DateTimeOriginal text counts as none from the own decoders.
    virtual std::optional<GrayPicture> grayPicture(int descriptor, ImageFormat format, int width, int height) = 0;
};

}  // namespace platform
