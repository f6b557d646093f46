#include "support/ImageBuilder.h"

#include "platform/ImageService.h"

#include <vips/vips.h>

#include <stdexcept>

namespace testing_support {

std::string encodeJpeg(const std::vector<uint8_t>& pixels, int width, int height, int bands,
                       const JpegOptions& options) {
    platform::ImageService::shared().decodableTypeIdentifiers();  // starts the library
    if (pixels.size() != size_t(width) * size_t(height) * size_t(bands))
        throw std::runtime_error("encodeJpeg: the buffer does not match the size");
    platform::Image image = platform::Image::adopt(
        vips_image_new_from_memory(pixels.data(), pixels.size(), width, height, bands, VIPS_FORMAT_UCHAR));
    if (!image) throw std::runtime_error("encodeJpeg: " + std::string(vips_error_buffer()));
    image.get()->Type = bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
    if (!options.exifSegment.empty())
        vips_image_set_blob_copy(image.get(), "exif-data", options.exifSegment.data(), options.exifSegment.size());
    if (options.orientation != 0) vips_image_set_int(image.get(), "orientation", options.orientation);

    void* data = nullptr;
    size_t size = 0;
    if (vips_jpegsave_buffer(image.get(), &data, &size, "Q", options.quality, nullptr) != 0) {
        std::string why = vips_error_buffer();
        vips_error_clear();
        throw std::runtime_error("encodeJpeg: " + why);
    }
    std::string jpeg(static_cast<const char*>(data), size);
    g_free(data);
    return jpeg;
}

std::vector<uint8_t> horizontalGradient(int width, int height) {
    std::vector<uint8_t> pixels(size_t(width) * size_t(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels[size_t(y) * size_t(width) + size_t(x)] = uint8_t(255 - 255 * x / (width > 1 ? width - 1 : 1));
    return pixels;
}

}  // namespace testing_support
