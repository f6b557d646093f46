#include "platform/ImageService.h"

#include "platform/Analytics.h"
#include "platform/internal/VipsImageService.h"
#include "platform/internal/VipsLibrary.h"

#include "support/ExifBuilder.h"
#include "support/ImageBuilder.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>


namespace {

using testing_support::ExifBuilder;
using testing_support::LogLines;

constexpr const char* kMissingLibrary = "libcore-test-no-such-image-library.so.1";

// Every operation of a service without its library, as a caller would use
// it; none may give anything.
void expectNothingFrom(platform::ImageService& images, const std::string& path, const platform::Image& some) {
    EXPECT_TRUE(images.decodableTypeIdentifiers().empty());
    EXPECT_FALSE(images.thumbnail(path, 18));
    EXPECT_FALSE(images.grayStretch(some, 18, 16));
    EXPECT_FALSE(images.pixels(some));
    EXPECT_FALSE(images.exifDateTimeOriginal(path));
    // Naming a format needs no decoder.
    EXPECT_EQ(images.typeIdentifierForExtension("JPG"), "public.jpeg");
}

// No image library is touched here, so these also run under ThreadSanitizer.
TEST(ImageServiceWithoutLibrary, FailsByValueFromManyThreadsAndSaysSoOnce) {
    LogLines log;
    testing_support::TempDir dir;
    testing_support::writeFile(dir / "a.jpg", "\xFF\xD8\xFF not much of a picture");
    auto images = platform::internal::makeVipsImageService(kMissingLibrary);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) threads.emplace_back([&] { expectNothingFrom(*images, dir / "a.jpg", {}); });
    for (auto& thread : threads) thread.join();

    std::vector<std::string> lines = log.taken();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(kMissingLibrary), std::string::npos) << lines[0];
}

TEST(ImageServiceWithoutLibrary, ALibraryWithoutTheFunctionsIsRefused) {
    LogLines log;
    EXPECT_EQ(platform::internal::loadVipsLibrary("libm.so.6"), nullptr);
    std::vector<std::string> lines = log.taken();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("libm.so.6"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("vips_"), std::string::npos) << lines[0];
}

class ImageService : public testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_THREAD__)
        // libvips, GLib and the codecs are not instrumented and hand buffers
        // over through futexes it cannot see: every report would be theirs.
        GTEST_SKIP() << "the image libraries are not instrumented for ThreadSanitizer";
#endif
    }
};

TEST_F(ImageService, ExifOriginalDateComesBackAsStored) {
    testing_support::TempDir dir;
    std::vector<uint8_t> pixels(8 * 8, 50);
    for (std::string text : {"2023:05:06 07:08:09", "odd (text, with), commas (", ""}) {
        ExifBuilder exif;
        exif.ascii(ExifBuilder::Ifd::exif, 36867, text);
        testing_support::writeFile(dir / "a.jpg", testing_support::encodeJpeg(pixels, 8, 8, 1, {exif.segment()}));
        std::optional<std::string> read = platform::ImageService::shared().exifDateTimeOriginal(dir / "a.jpg");
        ASSERT_TRUE(read) << text;
        EXPECT_EQ(*read, text);
    }
}

// A real picture and a real image, which the process's own service reads,
// still give nothing through a service whose library is missing.
TEST_F(ImageService, AMissingLibraryDecodesNothingThatTheSharedOneReads) {
    LogLines log;
    testing_support::TempDir dir;
    ExifBuilder exif;
    exif.ascii(ExifBuilder::Ifd::exif, 36867, "2023:05:06 07:08:09");
    testing_support::writeFile(dir / "g.jpg", testing_support::encodeJpeg(testing_support::horizontalGradient(40, 30),
                                                                          40, 30, 1, {exif.segment()}));
    auto& shared = platform::ImageService::shared();
    platform::Image thumb = shared.thumbnail(dir / "g.jpg", 18);
    ASSERT_TRUE(thumb);
    ASSERT_TRUE(shared.exifDateTimeOriginal(dir / "g.jpg"));
    ASSERT_TRUE(shared.decodableTypeIdentifiers().count("public.jpeg"));

    auto none = platform::internal::makeVipsImageService(kMissingLibrary);
    expectNothingFrom(*none, dir / "g.jpg", thumb);
    EXPECT_EQ(log.taken().size(), 1u);
}

// The same file opened under its own name gives a working service beside
// the process's (the loader hands back the library already in place).
TEST_F(ImageService, AServiceOnItsOwnLoadOfTheLibraryWorks) {
    testing_support::TempDir dir;
    testing_support::writeFile(dir / "g.jpg",
                               testing_support::encodeJpeg(testing_support::horizontalGradient(40, 30), 40, 30, 1));
    auto own = platform::internal::makeVipsImageService(platform::internal::defaultVipsLibraryName());
    auto& shared = platform::ImageService::shared();
    EXPECT_EQ(own->decodableTypeIdentifiers(), shared.decodableTypeIdentifiers());
    auto bitmap = [&](platform::ImageService& images) {
        return images.pixels(images.grayStretch(images.thumbnail(dir / "g.jpg", 18), 18, 16));
    };
    std::optional<std::vector<uint8_t>> expected = bitmap(shared);
    ASSERT_TRUE(expected);
    EXPECT_EQ(expected->size(), 18u * 16u);
    EXPECT_EQ(bitmap(*own), expected);
}

TEST_F(ImageService, ThumbnailsFromManyThreadsAgreeWithOneThread) {
    testing_support::TempDir dir;
    auto gradient = testing_support::horizontalGradient(90, 60);
    testing_support::writeFile(dir / "g.jpg", testing_support::encodeJpeg(gradient, 90, 60, 1));
    auto& images = platform::ImageService::shared();
    auto bitmap = [&] { return images.pixels(images.grayStretch(images.thumbnail(dir / "g.jpg", 18), 18, 16)); };
    std::optional<std::vector<uint8_t>> expected = bitmap();
    ASSERT_TRUE(expected);

    std::vector<std::optional<std::vector<uint8_t>>> results(4);
    std::vector<std::thread> threads;
    for (auto& result : results) threads.emplace_back([&] { result = bitmap(); });
    for (auto& t : threads) t.join();
    for (const auto& result : results) EXPECT_EQ(result, expected);
}

}  // namespace
