#include "platform/ImageService.h"

#include "platform/FileTypes.h"
#include "platform/internal/VipsImageService.h"
#include "platform/internal/VipsLibrary.h"

#include <mutex>
#include <optional>
#include <utility>

namespace platform {
namespace {

using internal::VipsLibrary;

// A loader whose extensions name no image format of the type table (tables,
// scientific formats) is not counted as an image format.
std::string typeForExtension(std::string_view extension) {
    return imageTypeIdentifierForExtension(extension).value_or(std::string());
}

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

struct LoaderScan {
    const VipsLibrary* vips;
    std::unordered_set<std::string>* types;
};

void* collectLoaderTypes(void* klass, void* a, void*) {
    auto* scan = static_cast<LoaderScan*>(a);
    // The map walks the loader classes only; the check stands in for the
    // checked cast of the library's class macro.
    auto* typeClass = static_cast<GTypeClass*>(klass);
    if (!scan->vips->g_type_check_class_is_a(typeClass, scan->vips->vips_foreign_get_type())) return nullptr;
    const char** suffixes = static_cast<VipsForeignClass*>(klass)->suffs;
    for (; suffixes != nullptr && *suffixes != nullptr; ++suffixes) {
        std::string_view suffix = *suffixes;
        if (!suffix.empty() && suffix.front() == '.') suffix.remove_prefix(1);
        std::string type = typeForExtension(suffix);
        if (!type.empty()) scan->types->emplace(std::move(type));
    }
    return nullptr;
}

class VipsImageService final : public ImageService {
public:
    // On the process's library.
    VipsImageService() = default;
    // On its own library loaded from `libraryName`.
    explicit VipsImageService(std::string libraryName) : _libraryName(std::move(libraryName)) {}

    const std::unordered_set<std::string>& decodableTypeIdentifiers() override {
        std::call_once(_typesOnce, [this] {
            const VipsLibrary* vips = library();
            if (vips == nullptr) return;  // nothing is decodable
            LoaderScan scan{vips, &_types};
            vips->vips_foreign_map("VipsForeignLoad", collectLoaderTypes, &scan, nullptr);
        });
        return _types;
    }

    std::string typeIdentifierForExtension(std::string_view extension) override {
        return typeForExtension(extension);
    }

    Image thumbnail(const std::string& path, int maxPixelSize) override {
        const VipsLibrary* vips = library();
        if (vips == nullptr || maxPixelSize < 1) return {};
        VipsImage* out = nullptr;
        // A square box of the size bounds the longer side; "down" keeps small
        // pictures as they are. Auto-rotation is on by default.
        int status = vips->vips_thumbnail(path.c_str(), &out, maxPixelSize, "height", maxPixelSize, "size",
                                          VIPS_SIZE_DOWN, nullptr);
        return made(*vips, status, &out);
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

        double hscale = double(width) / gray.width();
        double vscale = double(height) / gray.height();
        Image stretched = made(v, v.vips_resize(gray.get(), &out, hscale, "vscale", vscale, nullptr), &out);
        // The scaler rounds its output size; pad or crop the odd pixel so the
        // buffer is exactly what the caller asked for.
        if (stretched && (stretched.width() != width || stretched.height() != height))
            stretched = made(v,
                             v.vips_embed(stretched.get(), &out, 0, 0, width, height, "extend", VIPS_EXTEND_COPY,
                                          nullptr),
                             &out);
        return stretched;
    }

    std::optional<std::vector<uint8_t>> pixels(const Image& image) override {
        const VipsLibrary* vips = library();
        if (vips == nullptr || !image || image.get()->BandFmt != VIPS_FORMAT_UCHAR) return std::nullopt;
        size_t size = 0;
        void* data = vips->vips_image_write_to_memory(image.get(), &size);
        if (data == nullptr) {
            vips->vips_error_clear();
            return std::nullopt;
        }
        std::vector<uint8_t> bytes(static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + size);
        vips->g_free(data);
        return bytes;
    }

    std::optional<std::string> exifDateTimeOriginal(const std::string& path) override {
        const VipsLibrary* vips = library();
        if (vips == nullptr) return std::nullopt;
        // Opening reads the header and metadata only; no pixels are decoded.
        Image header = Image::adopt(vips->vips_image_new_from_file(path.c_str(), nullptr));
        if (!header) {
            vips->vips_error_clear();
            return std::nullopt;
        }
        const char* field = "exif-ifd2-DateTimeOriginal";
        if (vips->vips_image_get_typeof(header.get(), field) == 0) return std::nullopt;
        const char* text = nullptr;
        if (vips->vips_image_get_string(header.get(), field, &text) != 0 || text == nullptr) {
            vips->vips_error_clear();
            return std::nullopt;
        }
        return std::string(storedExifText(text));
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
