#pragma once
// The perceptual hash of a small gray bitmap, and the rule that says when two
// hashes belong to similar pictures. Pure functions over buffers; safe from
// any thread. The file side (thumbnails, dates) is in ImageFiles.h.
//
//   std::vector<uint8_t> gray = ...;                  // 18 x 16, one byte a pixel
//   dff::ImageHashValue h = dff::hashValue(gray.data(), 18, 16);
//   bool alike = dff::similarImages(h, other);

#include "dff/image/ImageHashValue.h"

namespace dff {

// The average hash over the first size*size bytes (at most 256) of the
// buffer, in memory order: bit i is 1 when byte i is above the integer mean.
// With the 18-wide bitmap and size 16 this is not a square of the image but
// its first 14 rows and 4 bytes of the 15th.
AHashBits aHash(const unsigned char* pixels, int size);

// The difference hash: for each row y and each x below width-1, bit
// y*width+x is 1 when that pixel is brighter than its right neighbour. With
// width 18 and height 16 the index reaches 286, past the 272 counted bits;
// those land in the spare bits of the last word and reach only the fold.
DHashBits dHash(const unsigned char* pixels, int width, int height);

// aHash(pixels, height) and dHash(pixels, width, height), with no date.
ImageHashValue hashValue(const unsigned char* pixels, int width, int height);

// Whether two pictures count as similar: close enough in both hashes
// whatever their dates, or, when both have a date, within a tolerance that
// narrows as the times of taking drift apart (none from 300 seconds on).
bool similarImages(const ImageHashValue& a, const ImageHashValue& b);

}  // namespace dff
