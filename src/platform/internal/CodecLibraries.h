#pragma once
// The JPEG and PNG codec libraries, opened on the first picture rather than
// linked: most runs of a host decode none.
//
// Threading: the shared tables may be asked for from any thread; they are
// read-only and never freed. The libraries are never closed.
//
//   if (const auto* png = platform::internal::sharedPngLibrary()) png->png_create_info_struct(...);

#include "platform/SharedLibrary.h"

#include <cstdio>  // jpeglib.h needs FILE

#include <jpeglib.h>
#include <png.h>

namespace platform::internal {

#define CORE_JPEG_FUNCTIONS(X)       \
    X(jpeg_std_error)                \
    X(jpeg_CreateDecompress)         \
    X(jpeg_destroy_decompress)       \
    X(jpeg_mem_src)                  \
    X(jpeg_save_markers)             \
    X(jpeg_read_header)              \
    X(jpeg_calc_output_dimensions)   \
    X(jpeg_start_decompress)         \
    X(jpeg_read_scanlines)

#define CORE_PNG_FUNCTIONS(X)        \
    X(png_create_read_struct)        \
    X(png_create_info_struct)        \
    X(png_destroy_read_struct)       \
    X(png_set_longjmp_fn)            \
    X(png_longjmp)                   \
    X(png_error)                     \
    X(png_set_read_fn)               \
    X(png_get_io_ptr)                \
    X(png_read_info)                 \
    X(png_get_image_width)           \
    X(png_get_image_height)          \
    X(png_set_expand)                \
    X(png_set_strip_16)              \
    X(png_set_interlace_handling)    \
    X(png_read_update_info)          \
    X(png_get_channels)              \
    X(png_get_rowbytes)              \
    X(png_get_eXIf_1)                \
    X(png_read_image)                \
    X(png_read_row)

struct JpegLibrary {
    CORE_JPEG_FUNCTIONS(CORE_FUNCTION_FIELD)
};

struct PngLibrary {
    CORE_PNG_FUNCTIONS(CORE_FUNCTION_FIELD)
};

// Each table, loaded on the first call; null when its library or one of its
// functions is missing, which goes to platform::log once.
const JpegLibrary* sharedJpegLibrary();
const PngLibrary* sharedPngLibrary();

}  // namespace platform::internal
