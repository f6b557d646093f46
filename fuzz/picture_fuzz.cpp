// Feeds arbitrary bytes to the image service's own JPEG and PNG decoders,
// as each format, so that every input meets both.
#include "platform/internal/PictureDecoders.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (auto format : {platform::ImageFormat::jpeg, platform::ImageFormat::png}) {
        auto picture = platform::internal::decodeGrayPicture(bytes, format, 18, 16);
        // A decoded picture is always the whole bitmap.
        if (picture.outcome == platform::internal::Decoding::decoded && picture.picture.pixels.size() != 18 * 16)
            __builtin_trap();
    }
    return 0;
}
