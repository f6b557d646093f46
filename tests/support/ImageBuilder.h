#pragma once
// Test helper: encodes pixels held in memory as a JPEG through libvips, with
// an optional EXIF segment (see ExifBuilder) and orientation tag, or as a
// PNG of any colour type, depth and interlacing through libpng, so that
// image tests and benchmarks need no picture files checked in.
//
//   auto gray = testing_support::horizontalGradient(36, 32);
//   std::string jpeg = testing_support::encodeJpeg(gray, 36, 32, 1);
//   std::string png = testing_support::encodePng(gray, 36, 32, testing_support::PngOptions());

#include <cstdint>
#include <string>
#include <vector>

namespace testing_support {

struct JpegOptions {
    std::string exifSegment;  // "Exif\0\0" and a TIFF block; empty: none
    int orientation = 0;      // the EXIF orientation tag, 1 to 8; 0: none
    int quality = 90;
};

// `pixels` row by row, `bands` bytes a pixel (1 gray, 3 RGB). Throws
// std::runtime_error when libvips cannot encode them.
std::string encodeJpeg(const std::vector<uint8_t>& pixels, int width, int height, int bands,
                       const JpegOptions& options = {});

// `pixels` as the image library writes a file named with `suffix` (".tif",
// ".webp[lossless]", ...), for formats the service leaves to the library.
// Throws std::runtime_error when it cannot.
std::string encodeWithLibrary(const std::vector<uint8_t>& pixels, int width, int height, int bands,
                              const std::string& suffix);

enum class PngColor { gray, grayAlpha, rgb, rgba, palette };

struct PngOptions {
    PngColor colorType = PngColor::rgb;
    int bitDepth = 8;          // 16: each 8-bit sample v is written as v * 257
    bool interlaced = false;
    std::vector<uint8_t> palette;       // RGB triples, for PngColor::palette
    std::vector<uint8_t> paletteAlpha;  // a tRNS chunk: alpha of the first entries
    std::string exif;  // an eXIf chunk: the TIFF structure, without "Exif\0\0"
};

// `pixels` row by row: 8-bit samples, as many a pixel as the colour type
// has (one palette index for PngColor::palette). Throws std::runtime_error
// when libpng refuses them.
std::string encodePng(const std::vector<uint8_t>& pixels, int width, int height, const PngOptions& options);

// One gray byte a pixel, from 255 at the left edge falling to 0 at the right.
std::vector<uint8_t> horizontalGradient(int width, int height);

}  // namespace testing_support
