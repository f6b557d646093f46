#include "platform/ImageService.h"

#include "platform/FileTypes.h"

#include <vips/vips.h>

#include <array>
#include <cstring>
#include <mutex>
#include <utility>

namespace platform {
namespace {

// A loader whose extensions name no image format of the type table (tables,
// scientific formats) is not counted as an image format.
std::string typeForExtension(std::string_view extension) {
    return imageTypeIdentifierForExtension(extension).value_or(std::string());
}

void startVips() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (VIPS_INIT("core")) {
            vips_error_clear();
            return;
        }
        // Cached operations would hand back the pixels of a file that has
        // since changed on disk; each thumbnail is made once anyway.
        vips_cache_set_max(0);
        vips_cache_set_max_mem(0);
        vips_cache_set_max_files(0);
        // Damaged files are reported to the caller by value; the library's
        // own warnings about them would only clutter the host's stderr.
        g_log_set_handler("VIPS", GLogLevelFlags(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE | G_LOG_LEVEL_INFO),
                          [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
    });
}

// The result of a vips call that makes one image into `*out`: the image, or
// empty with the library's error text dropped (the callers report failure by
// value). `out` is read only here, after the call has written it.
Image made(int status, VipsImage** out) {
    VipsImage* image = std::exchange(*out, nullptr);
    if (status != 0) {
        vips_error_clear();
        if (image != nullptr) g_object_unref(image);
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

void* collectLoaderTypes(void* klass, void* a, void*) {
    auto* types = static_cast<std::unordered_set<std::string>*>(a);
    const char** suffixes = VIPS_FOREIGN_CLASS(klass)->suffs;
    for (; suffixes != nullptr && *suffixes != nullptr; ++suffixes) {
        std::string_view suffix = *suffixes;
        if (!suffix.empty() && suffix.front() == '.') suffix.remove_prefix(1);
        std::string type = typeForExtension(suffix);
        if (!type.empty()) types->emplace(std::move(type));
    }
    return nullptr;
}

class VipsImageService final : public ImageService {
public:
    const std::unordered_set<std::string>& decodableTypeIdentifiers() override {
        static const std::unordered_set<std::string> types = [] {
            startVips();
            std::unordered_set<std::string> found;
            vips_foreign_map("VipsForeignLoad", collectLoaderTypes, &found, nullptr);
            return found;
        }();
        return types;
    }

    std::string typeIdentifierForExtension(std::string_view extension) override {
        return typeForExtension(extension);
    }

    Image thumbnail(const std::string& path, int maxPixelSize) override {
        startVips();
        if (maxPixelSize < 1) return {};
        VipsImage* out = nullptr;
        // A square box of the size bounds the longer side; "down" keeps small
        // pictures as they are. Auto-rotation is on by default.
        int status = vips_thumbnail(path.c_str(), &out, maxPixelSize, "height", maxPixelSize, "size",
                                    VIPS_SIZE_DOWN, nullptr);
        return made(status, &out);
    }

    Image grayStretch(const Image& image, int width, int height) override {
        startVips();
        if (!image || width < 1 || height < 1) return {};
        VipsImage* out = nullptr;
        Image gray = made(vips_colourspace(image.get(), &out, VIPS_INTERPRETATION_B_W, nullptr), &out);
        if (gray && vips_image_hasalpha(gray.get()))  // onto black, as an empty gray bitmap is
            gray = made(vips_flatten(gray.get(), &out, nullptr), &out);
        if (gray && gray.bands() > 1)
            gray = made(vips_extract_band(gray.get(), &out, 0, nullptr), &out);
        if (gray && gray.get()->BandFmt == VIPS_FORMAT_USHORT)
            gray = made(vips_rshift_const1(gray.get(), &out, 8, nullptr), &out);
        if (gray && gray.get()->BandFmt != VIPS_FORMAT_UCHAR)
            gray = made(vips_cast_uchar(gray.get(), &out, nullptr), &out);
        if (!gray) return {};

        double hscale = double(width) / gray.width();
        double vscale = double(height) / gray.height();
        Image stretched = made(vips_resize(gray.get(), &out, hscale, "vscale", vscale, nullptr), &out);
        // The scaler rounds its output size; pad or crop the odd pixel so the
        // buffer is exactly what the caller asked for.
        if (stretched && (stretched.width() != width || stretched.height() != height))
            stretched = made(vips_embed(stretched.get(), &out, 0, 0, width, height, "extend", VIPS_EXTEND_COPY,
                                        nullptr),
                             &out);
        return stretched;
    }

    std::optional<std::vector<uint8_t>> pixels(const Image& image) override {
        startVips();
        if (!image || image.get()->BandFmt != VIPS_FORMAT_UCHAR) return std::nullopt;
        size_t size = 0;
        void* data = vips_image_write_to_memory(image.get(), &size);
        if (data == nullptr) {
            vips_error_clear();
            return std::nullopt;
        }
        std::vector<uint8_t> bytes(static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + size);
        g_free(data);
        return bytes;
    }

    std::optional<std::string> exifDateTimeOriginal(const std::string& path) override {
        startVips();
        // Opening reads the header and metadata only; no pixels are decoded.
        Image header = Image::adopt(vips_image_new_from_file(path.c_str(), nullptr));
        if (!header) {
            vips_error_clear();
            return std::nullopt;
        }
        const char* field = "exif-ifd2-DateTimeOriginal";
        if (vips_image_get_typeof(header.get(), field) == 0) return std::nullopt;
        const char* text = nullptr;
        if (vips_image_get_string(header.get(), field, &text) != 0 || text == nullptr) {
            vips_error_clear();
            return std::nullopt;
        }
        return std::string(storedExifText(text));
    }
};

}  // namespace

Image Image::adopt(_VipsImage* image) {
    Image result;
    if (image != nullptr) result._image.reset(image, [](VipsImage* i) { g_object_unref(i); });
    return result;
}

int Image::width() const { return _image ? vips_image_get_width(_image.get()) : 0; }
int Image::height() const { return _image ? vips_image_get_height(_image.get()) : 0; }
int Image::bands() const { return _image ? vips_image_get_bands(_image.get()) : 0; }

ImageService& ImageService::shared() {
    static VipsImageService service;
    return service;
}

}  // namespace platform
