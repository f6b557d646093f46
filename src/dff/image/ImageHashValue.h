#pragma once
// dff::ImageHashValue: the perceptual hash of one picture. A 256-bit average
// hash, a 272-bit difference hash, a fold of each for ordering, and the date
// the picture was taken (seconds since 1970 as "%f" text, or "").
//
// Order and equality differ on purpose: `<` and `>` look at the folds only,
// so the duplicate index may put two different images under one key, while
// `==` compares the bits themselves. Plain value; copy freely.
//
//   dff::ImageHashValue a = dff::hashValue(pixels, 18, 16);
//   if (a.aHammingDistance(b) <= 9) ...

#include "dff/image/BitSet.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace dff {

using AHashBits = BitSet<256>;
using DHashBits = BitSet<272>;

struct ImageHashValue {
    ImageHashValue() = default;
    // `date` starts empty.
    ImageHashValue(const AHashBits& aHash, const DHashBits& dHash);

    DHashBits dHash;
    AHashBits aHash;
    uint64_t aFold = 0;  // XOR of the four words of aHash
    uint64_t dFold = 0;  // XOR of the five words of dHash, spare bits included
    std::string date;

    // The number of differing bits over 256 and over 272 bits.
    size_t aHammingDistance(const ImageHashValue& other) const { return aHash.distance(other.aHash); }
    size_t dHammingDistance(const ImageHashValue& other) const { return dHash.distance(other.dHash); }

    friend bool operator==(const ImageHashValue& a, const ImageHashValue& b) {
        return a.aHash == b.aHash && a.dHash == b.dHash;
    }
    // Equal average hashes are told apart by the difference fold, others by
    // the average fold.
    friend bool operator<(const ImageHashValue& a, const ImageHashValue& b) {
        return a.aHash == b.aHash ? a.dFold < b.dFold : a.aFold < b.aFold;
    }
    friend bool operator>(const ImageHashValue& a, const ImageHashValue& b) { return b < a; }
};

}  // namespace dff
