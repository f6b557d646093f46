#include "platform/ImageService.h"

#include "support/ExifBuilder.h"
#include "support/ImageBuilder.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>


namespace {

using testing_support::ExifBuilder;

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
