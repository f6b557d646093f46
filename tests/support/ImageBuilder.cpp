#include "support/ImageBuilder.h"

#include "platform/ImageService.h"

#include <png.h>
#include <vips/vips.h>

#include <csetjmp>
#include <stdexcept>

namespace testing_support {

namespace {

// `pixels` as an image of the library, gray or sRGB.
platform::Image libraryImage(const std::vector<uint8_t>& pixels, int width, int height, int bands,
                             const char* caller) {
    platform::ImageService::shared().decodableTypeIdentifiers();  // starts the library
    if (pixels.size() != size_t(width) * size_t(height) * size_t(bands))
        throw std::runtime_error(std::string(caller) + ": the buffer does not match the size");
    platform::Image image = platform::Image::adopt(
        vips_image_new_from_memory(pixels.data(), pixels.size(), width, height, bands, VIPS_FORMAT_UCHAR));
    if (!image) throw std::runtime_error(std::string(caller) + ": " + vips_error_buffer());
    image.get()->Type = bands <= 2 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
    return image;
}

// `image` written as the library writes a file named with `suffix`.
std::string savedAs(const platform::Image& image, const std::string& suffix, const char* caller) {
    void* data = nullptr;
    size_t size = 0;
    if (vips_image_write_to_buffer(image.get(), suffix.c_str(), &data, &size, nullptr) != 0) {
        std::string why = vips_error_buffer();
        vips_error_clear();
        throw std::runtime_error(std::string(caller) + ": " + why);
    }
    std::string bytes(static_cast<const char*>(data), size);
    g_free(data);
    return bytes;
}

}  // namespace

std::string encodeWithLibrary(const std::vector<uint8_t>& pixels, int width, int height, int bands,
                              const std::string& suffix) {
    return savedAs(libraryImage(pixels, width, height, bands, "encodeWithLibrary"), suffix, "encodeWithLibrary");
}

std::string encodeJpeg(const std::vector<uint8_t>& pixels, int width, int height, int bands,
                       const JpegOptions& options) {
    platform::Image image = libraryImage(pixels, width, height, bands, "encodeJpeg");
    if (!options.exifSegment.empty())
        vips_image_set_blob_copy(image.get(), "exif-data", options.exifSegment.data(), options.exifSegment.size());
    if (options.orientation != 0) vips_image_set_int(image.get(), "orientation", options.orientation);
    return savedAs(image, ".jpg[Q=" + std::to_string(options.quality) + "]", "encodeJpeg");
}

namespace {

void appendTo(png_structp png, png_bytep data, size_t size) {
    static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(data), size);
}

int samplesOf(PngColor color) {
    switch (color) {
        case PngColor::gray: case PngColor::palette: return 1;
        case PngColor::grayAlpha: return 2;
        case PngColor::rgb: return 3;
        case PngColor::rgba: return 4;
    }
    return 1;
}

int pngColorType(PngColor color) {
    switch (color) {
        case PngColor::gray: return PNG_COLOR_TYPE_GRAY;
        case PngColor::grayAlpha: return PNG_COLOR_TYPE_GRAY_ALPHA;
        case PngColor::rgb: return PNG_COLOR_TYPE_RGB;
        case PngColor::rgba: return PNG_COLOR_TYPE_RGB_ALPHA;
        case PngColor::palette: return PNG_COLOR_TYPE_PALETTE;
    }
    return PNG_COLOR_TYPE_GRAY;
}

// Writes everything it was given; false when libpng failed (it jumps back).
bool writePng(png_structp png, png_infop info, std::string& out, std::vector<png_bytep>& rows, int width,
              int height, const PngOptions& options) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_set_write_fn(png, &out, appendTo, nullptr);
    png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), options.bitDepth, pngColorType(options.colorType),
                 options.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (options.colorType == PngColor::palette) {
        std::vector<png_color> entries;
        for (size_t i = 0; i + 2 < options.palette.size(); i += 3)
            entries.push_back({options.palette[i], options.palette[i + 1], options.palette[i + 2]});
        png_set_PLTE(png, info, entries.data(), int(entries.size()));
        if (!options.paletteAlpha.empty())
            png_set_tRNS(png, info, options.paletteAlpha.data(), int(options.paletteAlpha.size()), nullptr);
    }
    if (!options.exif.empty())
        png_set_eXIf_1(png, info, png_uint_32(options.exif.size()),
                       reinterpret_cast<png_bytep>(const_cast<char*>(options.exif.data())));
    png_write_info(png, info);
    png_write_image(png, rows.data());
    png_write_end(png, info);
    return true;
}

}  // namespace

std::string encodePng(const std::vector<uint8_t>& pixels, int width, int height, const PngOptions& options) {
    size_t samples = size_t(width) * size_t(samplesOf(options.colorType));
    if (pixels.size() != samples * size_t(height))
        throw std::runtime_error("encodePng: the buffer does not match the size");
    int bytesPerSample = options.bitDepth == 16 ? 2 : 1;
    std::vector<uint8_t> data(pixels.size() * size_t(bytesPerSample));
    for (size_t i = 0; i < pixels.size(); ++i)
        if (bytesPerSample == 2)
            data[2 * i] = data[2 * i + 1] = pixels[i];  // big-endian v * 257
        else
            data[i] = pixels[i];
    std::vector<png_bytep> rows{size_t(height), nullptr};
    for (int y = 0; y < height; ++y) rows[size_t(y)] = data.data() + size_t(y) * samples * size_t(bytesPerSample);

    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    std::string out;
    bool written = info != nullptr && writePng(png, info, out, rows, width, height, options);
    png_destroy_write_struct(&png, &info);
    if (!written) throw std::runtime_error("encodePng: libpng refused the picture");
    return out;
}

std::vector<uint8_t> horizontalGradient(int width, int height) {
    std::vector<uint8_t> pixels(size_t(width) * size_t(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels[size_t(y) * size_t(width) + size_t(x)] = uint8_t(255 - 255 * x / (width > 1 ? width - 1 : 1));
    return pixels;
}

}  // namespace testing_support
