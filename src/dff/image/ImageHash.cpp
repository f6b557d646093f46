#include "dff/image/ImageHash.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace dff {

AHashBits aHash(const unsigned char* pixels, int size) {
    AHashBits bits;
    if (size <= 0) return bits;
    const size_t count = std::min<size_t>(size_t(size) * size_t(size), 256);
    uint32_t sum = 0;
    for (size_t i = 0; i < count; ++i) sum += pixels[i];
    const uint32_t mean = sum / uint32_t(count);
    for (size_t i = 0; i < count; ++i) bits.set(i, pixels[i] > mean);
    return bits;
}

DHashBits dHash(const unsigned char* pixels, int width, int height) {
    DHashBits bits;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x + 1 < width; ++x) {
            size_t i = size_t(y) * size_t(width) + size_t(x);
            if (i >= DHashBits::kCapacity) return bits;
            bits.set(i, pixels[i] > pixels[i + 1]);
        }
    }
    return bits;
}

ImageHashValue hashValue(const unsigned char* pixels, int width, int height) {
    return ImageHashValue(aHash(pixels, height), dHash(pixels, width, height));
}

namespace {

// Whole seconds of a "%f" date text. Kept in a double: a cast of a huge
// value to an integer would be undefined.
double wholeSeconds(const std::string& date) { return std::trunc(std::strtod(date.c_str(), nullptr)); }

}  // namespace

bool similarImages(const ImageHashValue& a, const ImageHashValue& b) {
    const size_t A = a.aHammingDistance(b);
    const size_t D = a.dHammingDistance(b);
    if (A <= 9 && D < 50) return true;
    if (a.date.empty() || b.date.empty()) return false;

    const double T = std::fabs(wholeSeconds(a.date) - wholeSeconds(b.date));
    if (T < 30) return A < 30 && D < 150;
    if (T < 150) return A < 20 && D < 100;
    if (T < 300) return A < 15 && D < 75;
    return false;
}

}  // namespace dff
