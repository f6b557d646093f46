#include "platform/internal/PictureDecoders.h"

#include "platform/ImageService.h"

#include "support/ExifBuilder.h"
#include "support/ImageBuilder.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

using platform::ImageFormat;
using platform::internal::Decoding;
using platform::internal::decodeGrayPicture;
using testing_support::ExifBuilder;
using testing_support::PngColor;
using testing_support::PngOptions;

constexpr int kWidth = 18, kHeight = 16;
constexpr uint16_t kOrientation = 274;

// A picture no turn or mirror leaves alike: rows darkening from top to
// bottom, a white block over the top-left quarter and a black one over the
// bottom-right eighth. `bands` 1 gray, 3 RGB (then the white block is red
// and yellow halves, so colours count), 4 RGBA opaque.
std::vector<uint8_t> landmarks(int width, int height, int bands) {
    std::vector<uint8_t> p(size_t(width) * size_t(height) * size_t(bands));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t v = uint8_t(200 - 140 * y / height);
            uint8_t rgb[3] = {v, v, v};
            if (x < width / 2 && y < height / 2) rgb[0] = rgb[1] = rgb[2] = 255;
            if (bands >= 3 && x < width / 4 && y < height / 2) rgb[1] = rgb[2] = 0;  // red
            if (bands >= 3 && x >= width / 4 && x < width / 2 && y < height / 2) rgb[2] = 0;  // yellow
            if (x >= 3 * width / 4 && y >= height / 2) rgb[0] = rgb[1] = rgb[2] = 0;
            uint8_t* px = p.data() + (size_t(y) * size_t(width) + size_t(x)) * size_t(bands);
            for (int b = 0; b < bands; ++b) px[b] = b < 3 ? rgb[bands == 1 ? 0 : b] : 255;
        }
    return p;
}

PngOptions pngOf(PngColor color, int bitDepth = 8, bool interlaced = false) {
    PngOptions options;
    options.colorType = color;
    options.bitDepth = bitDepth;
    options.interlaced = interlaced;
    return options;
}

double meanDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    double sum = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) sum += std::abs(int(a[i]) - int(b[i]));
    return a.size() == b.size() && !a.empty() ? sum / double(a.size()) : 255;
}

// Mean gray of one quarter (0 top left, 1 top right, 2 bottom left, 3
// bottom right) of an 18 x 16 bitmap.
double quarterMean(const std::vector<uint8_t>& p, int quarter) {
    int x0 = quarter % 2 * kWidth / 2, y0 = quarter / 2 * kHeight / 2;
    double sum = 0;
    for (int y = y0; y < y0 + kHeight / 2; ++y)
        for (int x = x0; x < x0 + kWidth / 2; ++x) sum += p[size_t(y * kWidth + x)];
    return sum / (kWidth / 2 * kHeight / 2);
}

class PictureDecoders : public testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "the image library the results are compared with is not instrumented for ThreadSanitizer";
#endif
    }

    // What the service gives for the file through its own decoders, after
    // checking that the descriptor path agrees with decoding from memory.
    std::optional<platform::ImageService::GrayPicture> own(const std::string& name, const std::string& bytes,
                                                           ImageFormat format) {
        testing_support::writeFile(dir / name, bytes);
        int fd = ::open((dir / name).c_str(), O_RDONLY | O_CLOEXEC);
        auto picture = platform::ImageService::shared().grayPicture(fd, format, kWidth, kHeight);
        ::close(fd);
        auto direct = decodeGrayPicture(bytes, format, kWidth, kHeight);
        EXPECT_EQ(direct.outcome == Decoding::decoded, picture.has_value()) << name;
        if (picture) {
            EXPECT_EQ(direct.picture.pixels, picture->pixels) << name;
        }
        return picture;
    }
    // What the image library's steps give for the file written by own().
    std::vector<uint8_t> library(const std::string& name) {
        auto& images = platform::ImageService::shared();
        return images.pixels(images.grayStretch(images.thumbnail(dir / name, kWidth), kWidth, kHeight))
            .value_or(std::vector<uint8_t>());
    }

    testing_support::TempDir dir;
};

// Every kind of file the decoders take gives, within a few gray levels, what
// the image library gives: a picture read mirrored, turned, with rows and
// columns swapped or with alpha left as gray would be far off.
TEST_F(PictureDecoders, JpegsAndPngsOfEveryKindComeOutAsTheLibraryMakesThem) {
    struct Case {
        std::string name;
        int width, height;
        std::string bytes;
    };
    std::vector<Case> cases;
    for (auto [w, h] : {std::pair{400, 300}, {40, 30}, {12, 40}, {1000, 90}, {10, 7}}) {
        std::string size = std::to_string(w) + "x" + std::to_string(h);
        cases.push_back({"gray-" + size + ".jpg", w, h, testing_support::encodeJpeg(landmarks(w, h, 1), w, h, 1)});
        cases.push_back({"rgb-" + size + ".jpg", w, h, testing_support::encodeJpeg(landmarks(w, h, 3), w, h, 3)});
        cases.push_back({"rgb-" + size + ".png", w, h, testing_support::encodePng(landmarks(w, h, 3), w, h, {})});
    }
    cases.push_back({"gray.png", 60, 45, testing_support::encodePng(landmarks(60, 45, 1), 60, 45, pngOf(PngColor::gray))});
    cases.push_back({"gray16.png", 60, 45,
                     testing_support::encodePng(landmarks(60, 45, 1), 60, 45, pngOf(PngColor::gray, 16))});
    cases.push_back({"rgba16-interlaced.png", 61, 47,
                     testing_support::encodePng(landmarks(61, 47, 4), 61, 47, pngOf(PngColor::rgba, 16, true))});
    // The gray levels of the landmarks picture as a palette of 256.
    PngOptions palette = pngOf(PngColor::palette);
    for (int i = 0; i < 256; ++i) palette.palette.insert(palette.palette.end(), 3, uint8_t(i));
    cases.push_back({"palette.png", 60, 45, testing_support::encodePng(landmarks(60, 45, 1), 60, 45, palette)});

    for (const Case& c : cases) {
        auto picture = own(c.name, c.bytes, c.name.ends_with(".png") ? ImageFormat::png : ImageFormat::jpeg);
        ASSERT_TRUE(picture) << c.name;
        ASSERT_EQ(picture->pixels.size(), size_t(kWidth * kHeight)) << c.name;
        std::vector<uint8_t> expected = library(c.name);
        // The library's resize lays its samples half a pixel aside, which
        // the sharp edges here show, and it weighs red, green and blue in
        // linear light: colour gets more room than gray. A mirrored or
        // turned picture is 25 and more off.
        EXPECT_LT(meanDifference(picture->pixels, expected), c.name.starts_with("rgb") ? 20 : 16) << c.name;
        EXPECT_FALSE(picture->dateTimeOriginal) << c.name;
    }
}

// The image library decodes what the own decoders leave, and the gray steps
// after decoding are the same: one picture, stored without loss in any
// format, gives one gray picture, so a copy in another format is found
// alike. A library path with steps of its own (linear-light gray, another
// resize) would be several gray levels off.
TEST_F(PictureDecoders, OnePictureGivesOneGrayPictureInEveryFormat) {
    for (auto [w, h] : {std::pair{300, 200}, {37, 50}}) {
        for (int bands : {1, 3, 4}) {
            std::vector<uint8_t> pixels = landmarks(w, h, bands);
            std::string size = std::to_string(w) + "x" + std::to_string(h) + "-" + std::to_string(bands);
            PngColor color = bands == 1 ? PngColor::gray : bands == 3 ? PngColor::rgb : PngColor::rgba;
            auto png = own(size + ".png", testing_support::encodePng(pixels, w, h, pngOf(color)), ImageFormat::png);
            ASSERT_TRUE(png) << size;
            for (auto [suffix, format] : {std::pair{".tif", ImageFormat::tiff}, {".webp[lossless]", ImageFormat::webp}}) {
                std::string name = size + std::string(suffix).substr(0, std::string(suffix).find('['));
                testing_support::writeFile(dir / name, testing_support::encodeWithLibrary(pixels, w, h, bands, suffix));
                int fd = ::open((dir / name).c_str(), O_RDONLY | O_CLOEXEC);
                auto other = platform::ImageService::shared().grayPicture(fd, format, kWidth, kHeight);
                ::close(fd);
                ASSERT_TRUE(other) << name;
                EXPECT_LT(meanDifference(other->pixels, png->pixels), 0.6) << name;
            }
        }
    }
}

// Gray comes with a JPEG's luma weights from either format, so that red,
// green and blue cannot be swapped unseen; what is transparent is black.
TEST_F(PictureDecoders, ColoursWeighAsLumaAndTransparencyIsBlack) {
    // Three columns of six pixels: red, green, blue; exact in a lossless file
    // already at the hash's size.
    std::vector<uint8_t> rgb;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            uint8_t px[3] = {0, 0, 0};
            px[x / 6] = 255;
            rgb.insert(rgb.end(), px, px + 3);
        }
    auto stripes = own("stripes.png", testing_support::encodePng(rgb, kWidth, kHeight, {}), ImageFormat::png);
    ASSERT_TRUE(stripes);
    EXPECT_EQ(stripes->pixels[0], 76);
    EXPECT_EQ(stripes->pixels[6], 150);
    EXPECT_EQ(stripes->pixels[17], 29);

    // White everywhere; the left half transparent, a column at a quarter.
    std::vector<uint8_t> rgba, grayAlpha;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            uint8_t alpha = x < kWidth / 2 ? 0 : x == kWidth / 2 ? 64 : 255;
            rgba.insert(rgba.end(), {255, 255, 255, alpha});
            grayAlpha.insert(grayAlpha.end(), {255, alpha});
        }
    // A palette of white and transparent white, by tRNS.
    PngOptions palette = pngOf(PngColor::palette);
    palette.palette = {255, 255, 255, 255, 255, 255};
    palette.paletteAlpha = {0};
    std::vector<uint8_t> indices;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) indices.push_back(x < kWidth / 2 ? 0 : 1);
    for (auto [name, bytes] : {std::pair{"rgba.png", testing_support::encodePng(rgba, kWidth, kHeight, pngOf(PngColor::rgba))},
                               {"ga16.png", testing_support::encodePng(grayAlpha, kWidth, kHeight, pngOf(PngColor::grayAlpha, 16))},
                               {"trns.png", testing_support::encodePng(indices, kWidth, kHeight, palette)}}) {
        auto picture = own(name, bytes, ImageFormat::png);
        ASSERT_TRUE(picture) << name;
        EXPECT_EQ(picture->pixels[kWidth + 2], 0) << name;
        EXPECT_EQ(picture->pixels[kWidth + kWidth - 1], 255) << name;
        if (std::string(name) != "trns.png") {
            EXPECT_EQ(picture->pixels[kWidth + kWidth / 2], 64) << name;
        }
    }
}

// Each tag turns the picture as the library turns it; where the white
// quarter lands is checked on its own too, so both cannot be wrong alike.
TEST_F(PictureDecoders, OrientationTagsTurnThePicture) {
    // The quarter the top-left white block lands in under tags 1 to 8.
    constexpr int kWhiteQuarter[9] = {0, 0, 1, 3, 2, 0, 1, 3, 2};
    for (int tag = 1; tag <= 8; ++tag) {
        std::string name = "o" + std::to_string(tag) + ".jpg";
        auto picture = own(name, testing_support::encodeJpeg(landmarks(64, 40, 1), 64, 40, 1, {"", tag}),
                           ImageFormat::jpeg);
        ASSERT_TRUE(picture) << name;
        EXPECT_LT(meanDifference(picture->pixels, library(name)), 12) << name;
        for (int quarter = 0; quarter < 4; ++quarter)
            if (quarter == kWhiteQuarter[tag])
                EXPECT_GT(quarterMean(picture->pixels, quarter), 240) << name;
            else
                EXPECT_LT(quarterMean(picture->pixels, quarter), 220) << name << " quarter " << quarter;
    }

    // A PNG's eXIf chunk says the same, and carries the date.
    ExifBuilder exif;
    exif.shorts(ExifBuilder::Ifd::zero, kOrientation, {6}).ascii(ExifBuilder::Ifd::exif, 36867, "2023:05:06 07:08:09");
    PngOptions options = pngOf(PngColor::gray);
    options.exif = exif.segment().substr(6);
    auto turned = own("o6.png", testing_support::encodePng(landmarks(64, 40, 1), 64, 40, options), ImageFormat::png);
    ASSERT_TRUE(turned);
    EXPECT_GT(quarterMean(turned->pixels, 1), 240);
    EXPECT_EQ(turned->dateTimeOriginal, "2023:05:06 07:08:09");
}

// A PNG with a header of its own making: the signature, then an IHDR chunk
// for `width` x `height`, 8-bit gray, then `rest`.
std::string pngHeader(uint32_t width, uint32_t height, const std::string& rest) {
    auto be32 = [](uint32_t v) {
        return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    };
    std::string chunk = "IHDR" + be32(width) + be32(height) + std::string("\x08\0\0\0\0", 5);
    uint32_t crc = 0xFFFFFFFFu;
    for (unsigned char byte : chunk) {
        crc ^= byte;
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1)));
    }
    return "\x89PNG\r\n\x1A\n" + be32(13) + chunk + be32(~crc) + rest;
}

// Damaged and hostile files come back as not decodable, never as a crash
// or a line on standard error; a picture too large to decode is refused
// before it is decoded, and says so in the log.
TEST_F(PictureDecoders, DamagedAndOversizedFilesAreUndecodableQuietly) {
    std::string jpeg = testing_support::encodeJpeg(landmarks(200, 150, 3), 200, 150, 3);
    std::string png = testing_support::encodePng(landmarks(200, 150, 3), 200, 150, {});
    std::string badCrc = png;
    badCrc[badCrc.find("IDAT") + 20] ^= 0x55;
    std::string noiseJpeg = jpeg.substr(0, 200) + std::string(2000, '\x5A') + "\xFF\xD9";
    std::vector<std::pair<std::string, ImageFormat>> damaged = {
        {"", ImageFormat::jpeg},
        {"\xFF\xD8\xFF", ImageFormat::jpeg},
        {jpeg.substr(0, jpeg.size() / 2), ImageFormat::jpeg},
        {noiseJpeg, ImageFormat::jpeg},
        {"", ImageFormat::png},
        {png.substr(0, png.size() / 2), ImageFormat::png},
        {badCrc, ImageFormat::png},
        {pngHeader(0, 10, ""), ImageFormat::png},
        {pngHeader(16, 16, "damaged beyond the header"), ImageFormat::png},
    };
    testing_support::LogLines log;
    testing::internal::CaptureStderr();
    for (size_t i = 0; i < damaged.size(); ++i) {
        const auto& [bytes, format] = damaged[i];
        std::string name = "damaged" + std::to_string(i) + (format == ImageFormat::png ? ".png" : ".jpg");
        EXPECT_FALSE(own(name, bytes, format)) << name;
        EXPECT_EQ(decodeGrayPicture(bytes, format, kWidth, kHeight).outcome, Decoding::undecodable) << name;
    }
    EXPECT_EQ(log.text().find("too large"), std::string::npos) << log.text();

    // 20000 x 20000 declared in a few bytes, up to the image data.
    std::string bomb = pngHeader(20000, 20000, std::string("\0\0\0\x10IDAT", 8) + std::string(20, 'x'));
    EXPECT_EQ(decodeGrayPicture(bomb, ImageFormat::png, kWidth, kHeight).outcome,
              Decoding::undecodable);
    EXPECT_NE(log.text().find("PNG decoder: 20000 x 20000 pixels is too large"), std::string::npos) << log.text();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// The building blocks on their own: a turn and its inverse give the
// picture back, and the area average keeps a flat picture flat at any size.
TEST(PictureScaling, TurnsUndoEachOtherAndFlatStaysFlat) {
    platform::internal::GrayBitmap bitmap{3, 2, {1, 2, 3, 4, 5, 6}};
    using platform::internal::oriented;
    EXPECT_EQ(oriented(bitmap, 6).pixels, (std::vector<uint8_t>{4, 1, 5, 2, 6, 3}));
    EXPECT_EQ(oriented(oriented(bitmap, 6), 8).pixels, bitmap.pixels);
    EXPECT_EQ(oriented(oriented(bitmap, 5), 5).pixels, bitmap.pixels);
    EXPECT_EQ(oriented(bitmap, 9).pixels, bitmap.pixels);

    platform::internal::GrayBitmap flat{7, 5, std::vector<uint8_t>(35, 77)};
    for (auto [w, h] : {std::pair{3, 2}, {18, 16}, {7, 5}, {1, 1}})
        EXPECT_EQ(platform::internal::areaScaled(flat, w, h).pixels, std::vector<uint8_t>(size_t(w * h), 77));
    // Four columns into three: each output pixel is the area under it; two
    // columns into four: interpolated between the centres, edges held.
    platform::internal::GrayBitmap four{4, 1, {0, 60, 120, 240}};
    EXPECT_EQ(platform::internal::areaScaled(four, 3, 1).pixels, (std::vector<uint8_t>{15, 90, 210}));
    platform::internal::GrayBitmap two{2, 1, {0, 200}};
    EXPECT_EQ(platform::internal::areaScaled(two, 4, 1).pixels, (std::vector<uint8_t>{0, 50, 150, 200}));
}

}  // namespace
