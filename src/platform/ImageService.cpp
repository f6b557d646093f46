#include "platform/ImageService.h"

#include "platform/FileTypes.h"
#include "platform/internal/PictureDecoders.h"
#include "platform/internal/RegularFile.h"
#include "platform/internal/VipsImageService.h"
#include "platform/internal/VipsLibrary.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

namespace platform {
namespace {

using internal::VipsLibrary;

// The result of a vips call that makes one image into `*out`: the image, or
// empty with the library's error text dropped (the callers report failure by
// value). `out` is read only here, after the call has written it.
Image made(const VipsLibrary& vips, int status, VipsImage** out) {
    VipsImage* image = std::exchange(*out, nullptr);
    if (status != 0) {
        vips.vips_error_clear();
        if (image != nullptr) vips.g_object_unref(image);
        return {};
    }
    return Image::adopt(image);
}

// The library shows an EXIF text field as "V (V, ASCII, n components, n
// bytes)". V itself may hold " (", so the split is where the text after it
// repeats V; a field not in that shape is taken whole.
std::string_view storedExifText(std::string_view shown) {
    for (size_t open = shown.find(" ("); open != std::string_view::npos; open = shown.find(" (", open + 1)) {
        std::string_view value = shown.substr(0, open);
        std::string_view rest = shown.substr(open + 2);
        if (rest.size() > value.size() && rest.substr(0, value.size()) == value && rest[value.size()] == ',')
            return value;
    }
    return shown;
}

// Each format's own loader, reading from a source: never the library's
// search through every loader it has.
using SourceLoader = int (*)(VipsSource*, VipsImage**, ...);

SourceLoader loaderOf(const VipsLibrary& vips, ImageFormat format) {
    switch (format) {
        case ImageFormat::jpeg: return vips.vips_jpegload_source;
        case ImageFormat::png: return vips.vips_pngload_source;
        case ImageFormat::gif: return vips.vips_gifload_source;
        case ImageFormat::webp: return vips.vips_webpload_source;
        case ImageFormat::tiff: return vips.vips_tiffload_source;
        case ImageFormat::heif: return vips.vips_heifload_source;
    }
    return nullptr;
}

const char* loaderName(ImageFormat format) {
    switch (format) {
        case ImageFormat::jpeg: return "jpegload_source";
        case ImageFormat::png: return "pngload_source";
        case ImageFormat::gif: return "gifload_source";
        case ImageFormat::webp: return "webpload_source";
        case ImageFormat::tiff: return "tiffload_source";
        case ImageFormat::heif: return "heifload_source";
    }
    return "";
}

// `image` scaled to exactly `width` x `height`, whatever its aspect. The
// scaler rounds its output size; the odd pixel is padded or cropped.
Image resizedTo(const VipsLibrary& v, const Image& image, int width, int height) {
    VipsImage* out = nullptr;
    double hscale = double(width) / image.width();
    double vscale = double(height) / image.height();
    Image resized = made(v, v.vips_resize(image.get(), &out, hscale, "vscale", vscale, nullptr), &out);
    if (resized && (resized.width() != width || resized.height() != height))
        resized = made(v, v.vips_embed(resized.get(), &out, 0, 0, width, height, "extend", VIPS_EXTEND_COPY, nullptr),
                       &out);
    return resized;
}

// One picture read from a descriptor by its format's loader, in sequential
// access: its pixels are computed in one request from top to bottom, so the
// loader streams them instead of decoding into a buffer first. The header is
// read first (no pixels); decoded() then opens it again at the smallest
// scale the loader offers that still leaves the box room for a proper
// resize, which is where a 12-megapixel photo saves most of its decoding.
class Picture {
public:
    Picture(const VipsLibrary& vips, int descriptor, ImageFormat format) : _vips(vips), _format(format) {
        _source = vips.vips_source_new_from_descriptor(descriptor);  // takes a duplicate of its own
        if (_source == nullptr) {
            vips.vips_error_clear();
            return;
        }
        VipsImage* out = nullptr;
        _header = made(vips, loaderOf(vips, format)(_source, &out, "access", VIPS_ACCESS_SEQUENTIAL, nullptr), &out);
    }
    ~Picture() {
        _header = {};
        if (_source != nullptr) _vips.g_object_unref(_source);
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    explicit operator bool() const { return static_cast<bool>(_header); }

    std::optional<std::string> dateTimeOriginal() const {
        const char* field = "exif-ifd2-DateTimeOriginal";
        if (!_header || _vips.vips_image_get_typeof(_header.get(), field) == 0) return std::nullopt;
        const char* text = nullptr;
        if (_vips.vips_image_get_string(_header.get(), field, &text) != 0 || text == nullptr) {
            _vips.vips_error_clear();
            return std::nullopt;
        }
        return std::string(storedExifText(text));
    }

    // The picture decoded at the smallest scale that leaves `box` room for a
    // proper resize, turned as its orientation tag says.
    Image upright(int box) {
        if (!_header || box < 1) return {};
        VipsImage* out = nullptr;
        Image turned = decoded(box);
        if (turned) turned = made(_vips, _vips.vips_autorot(turned.get(), &out, nullptr), &out);
        return turned;
    }

    // The picture at most `box` pixels on its longer side (never enlarged),
    // turned as its orientation tag says.
    Image thumbnail(int box) {
        Image turned = upright(box);
        if (!turned) return {};
        // A shrink on load leaves the longer side at least twice the box, so
        // "never enlarged" can be told from the decoded picture.
        auto [width, height] = internal::thumbnailSize(turned.width(), turned.height(), box);
        if (width == turned.width() && height == turned.height()) return turned;
        return resizedTo(_vips, turned, width, height);
    }

private:
    Image decoded(int box) {
        const VipsLibrary& v = _vips;
        double factor = std::max(_header.width(), _header.height()) / double(box);
        VipsImage* out = nullptr;
        switch (_format) {
            case ImageFormat::jpeg: {
                int shrink = internal::jpegShrink(_header.width(), _header.height(), box);
                if (shrink == 1) return _header;
                return made(v, v.vips_jpegload_source(_source, &out, "shrink", shrink, "access", VIPS_ACCESS_SEQUENTIAL, nullptr), &out);
            }
            case ImageFormat::webp:
                if (factor < 4) return _header;
                return made(v, v.vips_webpload_source(_source, &out, "scale", 2.0 / factor, "access", VIPS_ACCESS_SEQUENTIAL,
                                                         nullptr), &out);
            default:
                return _header;
        }
    }

    const VipsLibrary& _vips;
    ImageFormat _format;
    VipsSource* _source = nullptr;
    Image _header;
};

// `image` in 8-bit sRGB, its alpha band kept: what the own decoders' gray
// steps take.
Image eightBitColour(const VipsLibrary& v, const Image& image) {
    if (!image) return {};
    VipsImage* out = nullptr;
    Image colour = made(v, v.vips_colourspace(image.get(), &out, VIPS_INTERPRETATION_sRGB, nullptr), &out);
    if (colour && colour.get()->BandFmt == VIPS_FORMAT_USHORT)
        colour = made(v, v.vips_rshift_const1(colour.get(), &out, 8, nullptr), &out);
    if (colour && colour.get()->BandFmt != VIPS_FORMAT_UCHAR)
        colour = made(v, v.vips_cast_uchar(colour.get(), &out, nullptr), &out);
    return colour;
}

// The formats grayPicture decodes without the library, from the whole file
// in memory; larger files (no real picture of these formats is) go to the
// library, which streams them.
bool hasOwnDecoder(std::optional<ImageFormat> format) {
    return format == ImageFormat::jpeg || format == ImageFormat::png;
}
constexpr size_t kMaxOwnDecoderFileSize = size_t(256) << 20;

class VipsImageService final : public ImageService {
public:
    // On the process's library.
    VipsImageService() = default;
    // On its own library loaded from `libraryName`.
    explicit VipsImageService(std::string libraryName) : _libraryName(std::move(libraryName)) {}

    const std::unordered_set<std::string>& decodableTypeIdentifiers() override {
        std::call_once(_typesOnce, [this] {
            for (const std::string& type : imageTypeIdentifiers())
                if (hasOwnDecoder(imageFormatForTypeIdentifier(type))) _types.insert(type);
            const VipsLibrary* vips = library();
            if (vips == nullptr) return;  // nothing more is decodable
            for (const std::string& type : imageTypeIdentifiers()) {
                auto format = imageFormatForTypeIdentifier(type);
                if (format && vips->vips_type_find("VipsOperation", loaderName(*format)) != 0) _types.insert(type);
            }
        });
        return _types;
    }

    std::string typeIdentifierForExtension(std::string_view extension) override {
        return imageTypeIdentifierForExtension(extension).value_or(std::string());
    }

    Image thumbnail(const std::string& path, int maxPixelSize) override {
        ReadableFile file(path.c_str());
        auto format = file.imageFormat();
        const VipsLibrary* vips = format ? library() : nullptr;
        if (vips == nullptr) return {};
        Picture picture(*vips, file.fd(), *format);
        return picture.thumbnail(maxPixelSize);
    }

    Image grayStretch(const Image& image, int width, int height) override {
        const VipsLibrary* vips = library();
        if (vips == nullptr || !image || width < 1 || height < 1) return {};
        const VipsLibrary& v = *vips;
        VipsImage* out = nullptr;
        Image gray = made(v, v.vips_colourspace(image.get(), &out, VIPS_INTERPRETATION_B_W, nullptr), &out);
        if (gray && v.vips_image_hasalpha(gray.get()))  // onto black, as an empty gray bitmap is
            gray = made(v, v.vips_flatten(gray.get(), &out, nullptr), &out);
        if (gray && gray.bands() > 1)
            gray = made(v, v.vips_extract_band(gray.get(), &out, 0, nullptr), &out);
        if (gray && gray.get()->BandFmt == VIPS_FORMAT_USHORT)
            gray = made(v, v.vips_rshift_const1(gray.get(), &out, 8, nullptr), &out);
        if (gray && gray.get()->BandFmt != VIPS_FORMAT_UCHAR)
            gray = made(v, v.vips_cast_uchar(gray.get(), &out, nullptr), &out);
        if (!gray) return {};

        return resizedTo(v, gray, width, height);
    }

    std::optional<std::vector<uint8_t>> pixels(const Image& image) override {
        const VipsLibrary* vips = library();
        if (vips == nullptr || !image || image.get()->BandFmt != VIPS_FORMAT_UCHAR) return std::nullopt;
        // A region computed on this thread: writing the image out would hand
        // each small picture to the library's thread pool and back.
        VipsRegion* region = vips->vips_region_new(image.get());
        if (region == nullptr) {
            vips->vips_error_clear();
            return std::nullopt;
        }
        VipsRect all{0, 0, image.width(), image.height()};
        std::optional<std::vector<uint8_t>> bytes;
        if (vips->vips_region_prepare(region, &all) == 0) {
            size_t line = size_t(all.width) * size_t(image.bands());
            bytes.emplace(line * size_t(all.height));
            // One byte an element (checked above), so a pixel is `bands` bytes.
            const VipsPel* first = region->data + size_t(all.top - region->valid.top) * size_t(region->bpl) +
                                   size_t(all.left - region->valid.left) * size_t(image.bands());
            for (int y = 0; y < all.height; ++y)
                std::copy_n(first + size_t(y) * size_t(region->bpl), line, bytes->data() + line * size_t(y));
        } else {
            vips->vips_error_clear();
        }
        vips->g_object_unref(region);
        return bytes;
    }

    std::optional<std::string> exifDateTimeOriginal(const std::string& path) override {
        ReadableFile file(path.c_str());
        auto format = file.imageFormat();
        const VipsLibrary* vips = format ? library() : nullptr;
        if (vips == nullptr) return std::nullopt;
        // Opening reads the header and metadata only; no pixels are decoded.
        return Picture(*vips, file.fd(), *format).dateTimeOriginal();
    }

    std::optional<GrayPicture> grayPicture(int descriptor, ImageFormat format, int width, int height) override {
        if (descriptor < 0) return std::nullopt;
        // JPEGs and PNGs without the library; it is left what is no regular
        // file (read as it streams) and what these decoders leave to it.
        std::optional<std::string> file;
        if (hasOwnDecoder(format)) file = internal::readRegularFile(descriptor, kMaxOwnDecoderFileSize);
        if (file) {
            internal::NativeGrayPicture native = internal::decodeGrayPicture(*file, format, width, height);
            if (native.outcome == internal::Decoding::decoded) return std::move(native.picture);
            if (native.outcome == internal::Decoding::undecodable) return std::nullopt;
        }
        const VipsLibrary* vips = library();
        if (vips == nullptr) return std::nullopt;
        Picture picture(*vips, descriptor, format);
        if (!picture) return std::nullopt;
        // The library only decodes; the gray picture is made by the own
        // decoders' steps, so a picture gives the same one in any format.
        Image colour = eightBitColour(*vips, picture.upright(width));
        std::optional<std::vector<uint8_t>> bytes;
        if (colour) bytes = pixels(colour);
        if (!bytes) return std::nullopt;
        std::vector<uint8_t> gray =
            internal::grayPictureOf(bytes->data(), colour.width(), colour.height(), colour.bands(), width, height);
        if (gray.size() != size_t(width) * size_t(height)) return std::nullopt;
        return GrayPicture{std::move(gray), picture.dateTimeOriginal()};
    }

private:
    // Loaded (and started) on the first call that needs it; null when the
    // library cannot be had, which every operation takes as "undecodable".
    const VipsLibrary* library() {
        if (!_libraryName) return internal::sharedVipsLibrary();
        std::call_once(_loadOnce, [this] { _ownLibrary = internal::loadVipsLibrary(*_libraryName); });
        return _ownLibrary.get();
    }

    std::optional<std::string> _libraryName;
    std::once_flag _loadOnce;
    std::unique_ptr<const VipsLibrary> _ownLibrary;
    std::once_flag _typesOnce;
    std::unordered_set<std::string> _types;
};

}  // namespace

// Images exist only where the library was loaded, so the process's table is
// there whenever one is non-empty; a service on its own copy of the library
// opened the same file and gets the same functions.
Image Image::adopt(_VipsImage* image) {
    Image result;
    if (image == nullptr) return result;
    const VipsLibrary* vips = internal::sharedVipsLibrary();
    if (vips == nullptr) return result;  // cannot be released, nor read: left alone
    result._image.reset(image, [vips](VipsImage* i) { vips->g_object_unref(i); });
    return result;
}

int Image::width() const { return _image ? internal::sharedVipsLibrary()->vips_image_get_width(_image.get()) : 0; }
int Image::height() const { return _image ? internal::sharedVipsLibrary()->vips_image_get_height(_image.get()) : 0; }
int Image::bands() const { return _image ? internal::sharedVipsLibrary()->vips_image_get_bands(_image.get()) : 0; }

ImageService& ImageService::shared() {
    static VipsImageService service;
    return service;
}

std::unique_ptr<ImageService> internal::makeVipsImageService(std::string libraryName) {
    return std::make_unique<VipsImageService>(std::move(libraryName));
}

}  // namespace platform
