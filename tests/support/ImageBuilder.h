#pragma once
// Test helper: encodes pixels held in memory as a JPEG through libvips, with
// an optional EXIF segment (see ExifBuilder) and orientation tag, so that
// image tests and benchmarks need no picture files checked in.
//
//   auto gray = testing_support::horizontalGradient(36, 32);
//   std::string jpeg = testing_support::encodeJpeg(gray, 36, 32, 1);

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

// One gray byte a pixel, from 255 at the left edge falling to 0 at the right.
std::vector<uint8_t> horizontalGradient(int width, int height);

}  // namespace testing_support
