#include "platform/internal/CodecLibraries.h"

#include <memory>
#include <string>

namespace platform::internal {

namespace {

#define CORE_TEXT(value) CORE_TEXT_OF(value)
#define CORE_TEXT_OF(value) #value

constexpr std::string_view kService = "Picture decoding";

}  // namespace

const JpegLibrary* sharedJpegLibrary() {
    static const std::unique_ptr<const JpegLibrary> shared = CORE_LOAD_FUNCTION_TABLE(
        JpegLibrary, CORE_JPEG_FUNCTIONS, "libjpeg.so." + std::to_string(JPEG_LIB_VERSION), kService);
    return shared.get();
}

const PngLibrary* sharedPngLibrary() {
    static const std::unique_ptr<const PngLibrary> shared = CORE_LOAD_FUNCTION_TABLE(
        PngLibrary, CORE_PNG_FUNCTIONS,
        std::string("libpng" CORE_TEXT(PNG_LIBPNG_VER_DLLNUM) ".so." CORE_TEXT(PNG_LIBPNG_VER_SONUM)), kService);
    return shared.get();
}

}  // namespace platform::internal
