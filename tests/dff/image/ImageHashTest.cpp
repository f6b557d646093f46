#include "dff/image/ImageHash.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using dff::AHashBits;
using dff::DHashBits;
using dff::ImageHashValue;

constexpr int W = 18, H = 16;

std::vector<uint8_t> flat(uint8_t value) { return std::vector<uint8_t>(W * H, value); }

// Falls from left to right: every pixel brighter than its right neighbour.
std::vector<uint8_t> fallingRows() {
    std::vector<uint8_t> p(W * H);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) p[y * W + x] = uint8_t(200 - 10 * x);
    return p;
}

TEST(ImageHashBits, FlatGrayHasNoBitsAtAll) {
    for (uint8_t value : {0, 128, 255}) {
        auto p = flat(value);
        ImageHashValue h = dff::hashValue(p.data(), W, H);
        EXPECT_EQ(h.aHash.count(), 0u);
        EXPECT_EQ(h.dHash.count(), 0u);
        EXPECT_EQ(h.aFold, 0u);
        EXPECT_EQ(h.dFold, 0u);
        EXPECT_TRUE(h.date.empty());
    }
}

TEST(ImageHashBits, AverageHashUsesTheFirst256BytesAndAStrictMean) {
    auto p = flat(0);
    for (int i = 0; i < 128; ++i) p[i] = 200;            // mean of the first 256: 100
    for (int i = 256; i < W * H; ++i) p[i] = 255;         // the tail counts for nothing
    p[200] = 100;                                         // mean: 25600 + 100 = 25700 / 256 = 100
    AHashBits bits = dff::aHash(p.data(), 16);
    EXPECT_EQ(bits.count(), 128u);
    for (int i = 0; i < 128; ++i) EXPECT_TRUE(bits.test(i)) << i;
    EXPECT_FALSE(bits.test(200)) << "a byte equal to the mean gives 0";
    EXPECT_FALSE(bits.test(255));
}

TEST(ImageHashBits, DifferenceHashLeavesTheLastColumnAndSpillsPast271) {
    auto p = fallingRows();
    DHashBits bits = dff::dHash(p.data(), W, H);
    for (int y = 0; y < H; ++y) {
        for (int x = 0; x < W; ++x) {
            size_t i = size_t(y * W + x);
            EXPECT_EQ(bits.test(i), x < W - 1) << "x " << x << " y " << y;
        }
    }
    // Of the last row only x 0 and 1 lie below 272; the rest is spare.
    EXPECT_EQ(bits.count(), size_t(15 * 17 + 2));

    // A rising row sets nothing, and equal neighbours set nothing.
    std::vector<uint8_t> rising(W * H);
    for (int i = 0; i < W * H; ++i) rising[i] = uint8_t(i % W);
    EXPECT_EQ(dff::dHash(rising.data(), W, H).count(), 0u);
}

// The index orders hashes by coarse keys: hashes that differ only where the
// key does not look are one key, and bits past 271 of the difference hash
// count neither for equality nor for distance.
TEST(ImageHashValueOrder, CoarseKeysAndSpareBits) {
    AHashBits a1, none;
    a1.set(0);
    a1.set(64);
    DHashBits d;
    ImageHashValue x(a1, d), y(none, d);
    EXPECT_FALSE(x == y);
    EXPECT_FALSE(x < y || x > y) << "different average hashes may share a key";
    DHashBits d1;
    d1.set(1);
    EXPECT_TRUE(y < ImageHashValue(none, d1)) << "equal average hashes: the difference hash decides";

    auto a = flat(50), b = flat(50);
    b[15 * W + 5] = 60;  // sets bit 275 of dHash, a spare one
    ImageHashValue ha = dff::hashValue(a.data(), W, H), hb = dff::hashValue(b.data(), W, H);
    EXPECT_TRUE(hb.dHash.test(275));
    EXPECT_TRUE(ha == hb);
    EXPECT_EQ(ha.dHammingDistance(hb), 0u);
}

TEST(ImageHashValueText, HexIsMostSignificantBitFirst) {
    AHashBits a;
    a.set(0);
    a.set(255);
    std::string hex = a.hex();
    ASSERT_EQ(hex.size(), 64u);
    EXPECT_EQ(hex, "8" + std::string(62, '0') + "1");
    DHashBits d;
    d.set(271);
    d.set(280);  // spare: not written
    EXPECT_EQ(d.hex(), "8" + std::string(67, '0'));
}

// A pair of hashes whose distances are exactly `aBits` and `dBits`.
std::pair<ImageHashValue, ImageHashValue> pairAt(size_t aBits, size_t dBits, std::string dateA = "",
                                                  std::string dateB = "") {
    AHashBits a;
    DHashBits d;
    for (size_t i = 0; i < aBits; ++i) a.set(i);
    for (size_t i = 0; i < dBits; ++i) d.set(i);
    ImageHashValue x(AHashBits{}, DHashBits{}), y(a, d);
    x.date = std::move(dateA);
    y.date = std::move(dateB);
    return {x, y};
}

bool similar(size_t A, size_t D, std::string da = "", std::string db = "") {
    auto [x, y] = pairAt(A, D, std::move(da), std::move(db));
    EXPECT_EQ(x.aHammingDistance(y), A);
    EXPECT_EQ(x.dHammingDistance(y), D);
    return dff::similarImages(x, y) && dff::similarImages(y, x);
}

TEST(SimilarImages, CloseHashesNeedNoDate) {
    EXPECT_TRUE(similar(0, 0));
    EXPECT_TRUE(similar(9, 49));
    EXPECT_FALSE(similar(10, 49));
    EXPECT_FALSE(similar(9, 50));
    EXPECT_FALSE(similar(10, 49, "1000.000000", ""));
}

TEST(SimilarImages, TimeTableAtItsBorders) {
    const std::string t0 = "1000.000000";
    auto at = [](double seconds) { return std::to_string(1000.0 + seconds); };  // "%f" as well
    // Under 30 seconds: A < 30, D < 150.
    EXPECT_TRUE(similar(29, 149, t0, at(29.9)));
    EXPECT_FALSE(similar(30, 149, t0, at(29)));
    EXPECT_FALSE(similar(29, 150, t0, at(29)));
    // 30 to 149: A < 20, D < 100. Fractions are cut before subtracting.
    EXPECT_FALSE(similar(29, 149, t0, at(30)));
    EXPECT_TRUE(similar(19, 99, t0, at(30)));
    EXPECT_FALSE(similar(29, 149, "1000.900000", "1030.100000")) << "29.2 seconds, but 30 once cut";
    EXPECT_FALSE(similar(20, 99, t0, at(100)));
    EXPECT_FALSE(similar(19, 100, t0, at(100)));
    // 150 to 299: A < 15, D < 75.
    EXPECT_FALSE(similar(19, 99, t0, at(150)));
    EXPECT_TRUE(similar(14, 74, t0, at(150)));
    EXPECT_TRUE(similar(14, 74, t0, at(299.99)));
    EXPECT_FALSE(similar(15, 74, t0, at(200)));
    EXPECT_FALSE(similar(14, 75, t0, at(200)));
    // 300 and on: only the first rule.
    EXPECT_FALSE(similar(10, 10, t0, at(300)));
    EXPECT_TRUE(similar(9, 10, t0, at(100000)));
    // An unparsed date is time 0.0, which is no empty date.
    EXPECT_TRUE(similar(25, 120, "0.000000", "12.000000"));
}

}  // namespace
