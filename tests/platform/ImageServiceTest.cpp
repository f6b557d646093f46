#include "platform/ImageService.h"

#include "platform/Analytics.h"
#include "platform/internal/VipsImageService.h"
#include "platform/internal/VipsLibrary.h"

#include "support/ExifBuilder.h"
#include "support/ImageBuilder.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

#include "dff/internal/ParallelEach.h"

#include <fcntl.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <stdexcept>

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
// it; none may give anything but the JPEG gray picture, which the service's
// own decoder makes (when `path` holds a real JPEG).
void expectNothingFrom(platform::ImageService& images, const std::string& path, const platform::Image& some,
                       bool ownDecoderReadsIt = false) {
    EXPECT_EQ(images.decodableTypeIdentifiers(), (std::unordered_set<std::string>{"public.jpeg", "public.png"}));
    EXPECT_FALSE(images.thumbnail(path, 18));
    EXPECT_FALSE(images.grayStretch(some, 18, 16));
    EXPECT_FALSE(images.pixels(some));
    EXPECT_FALSE(images.exifDateTimeOriginal(path));
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(images.grayPicture(fd, platform::ImageFormat::jpeg, 18, 16).has_value(), ownDecoderReadsIt);
    if (fd >= 0) ::close(fd);
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

// A service that decodes nothing real: a "picture" is its file's bytes
// after the signature, as pixels. It counts its calls and the threads they
// came from, so that parallel decoding can be checked without the library,
// which ThreadSanitizer cannot see into.
class FakeImageService final : public platform::ImageService {
public:
    const std::unordered_set<std::string>& decodableTypeIdentifiers() override { return _types; }
    std::string typeIdentifierForExtension(std::string_view) override { return {}; }
    platform::Image thumbnail(const std::string&, int) override { return {}; }
    platform::Image grayStretch(const platform::Image&, int, int) override { return {}; }
    std::optional<std::vector<uint8_t>> pixels(const platform::Image&) override { return std::nullopt; }
    std::optional<std::string> exifDateTimeOriginal(const std::string&) override { return std::nullopt; }
    std::optional<GrayPicture> grayPicture(int descriptor, platform::ImageFormat, int width, int height) override {
        calls.fetch_add(1);
        {
            std::lock_guard lock(_mutex);
            threads.insert(std::this_thread::get_id());
        }
        std::vector<uint8_t> bytes(size_t(width * height));
        ssize_t got = ::pread(descriptor, bytes.data(), bytes.size(), 3);
        if (got <= 0) return std::nullopt;
        return GrayPicture{std::move(bytes), std::nullopt};
    }
    std::atomic<int> calls{0};
    std::set<std::thread::id> threads;

private:
    std::mutex _mutex;
    std::unordered_set<std::string> _types;
};

// The search's decoding stage on a fake service: each item decoded once,
// into its own slot, whichever thread took it; callbacks only on the caller.
TEST(ParallelDecoding, EveryItemOnceInItsOwnSlotWithCallerOnlyCallbacks) {
    testing_support::TempDir dir;
    constexpr size_t kCount = 64;
    std::vector<std::string> paths;
    for (size_t i = 0; i < kCount; ++i) {
        paths.push_back(dir / ("p" + std::to_string(i) + ".jpg"));
        testing_support::writeFile(paths.back(), "\xFF\xD8\xFF" + std::string(18 * 16, char('a' + i % 26)));
    }
    FakeImageService fake;
    std::vector<std::optional<std::vector<uint8_t>>> slots(kCount);
    std::vector<int> callerItems;
    std::atomic<bool> stopped{false};
    const auto caller = std::this_thread::get_id();
    dff::internal::forEachInParallel(kCount, 4, stopped, [&](size_t i, dff::internal::Worker worker) {
        EXPECT_LT(worker.index, 4u);
        if (worker.onCaller()) {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            callerItems.push_back(int(i));  // only the caller touches it
        }
        int fd = ::open(paths[i].c_str(), O_RDONLY | O_CLOEXEC);
        auto picture = fake.grayPicture(fd, platform::ImageFormat::jpeg, 18, 16);
        ::close(fd);
        if (picture) slots[i] = std::move(picture->pixels);
    });
    EXPECT_EQ(fake.calls.load(), int(kCount));
    for (size_t i = 0; i < kCount; ++i) {
        ASSERT_TRUE(slots[i]) << i;
        EXPECT_EQ(*slots[i], std::vector<uint8_t>(18 * 16, uint8_t('a' + i % 26))) << i;
    }
    EXPECT_LE(fake.threads.size(), 4u);
}

TEST(ParallelDecoding, AFailureOrAStopEndsTheHandingOut) {
    std::atomic<bool> stopped{false};
    std::atomic<int> done{0};
    EXPECT_THROW(dff::internal::forEachInParallel(1000, 3, stopped,
                                                  [&](size_t i, dff::internal::Worker) {
                                                      if (i == 10) throw std::logic_error("broken");
                                                      done.fetch_add(1);
                                                  }),
                 std::logic_error);
    EXPECT_LT(done.load(), 1000);

    done = 0;
    dff::internal::forEachInParallel(1000, 3, stopped, [&](size_t, dff::internal::Worker) {
        if (done.fetch_add(1) == 5) stopped = true;
    });
    EXPECT_LT(done.load(), 1000);
    stopped = true;
    dff::internal::forEachInParallel(10, 3, stopped,
                                     [&](size_t, dff::internal::Worker) { ADD_FAILURE() << "ran after a stop"; });
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

// A gradient JPEG of `width` x `height` taken at "2023:05:06 07:08:09".
std::string datedGradientJpeg(int width, int height) {
    ExifBuilder exif;
    exif.ascii(ExifBuilder::Ifd::exif, 36867, "2023:05:06 07:08:09");
    return testing_support::encodeJpeg(testing_support::horizontalGradient(width, height), width, height, 1,
                                       {exif.segment()});
}

// A real picture and a real image, which the process's own service reads,
// still give nothing through a service whose library is missing.
TEST_F(ImageService, AMissingLibraryDecodesNothingThatTheSharedOneReads) {
    LogLines log;
    testing_support::TempDir dir;
    testing_support::writeFile(dir / "g.jpg", datedGradientJpeg(40, 30));
    auto& shared = platform::ImageService::shared();
    platform::Image thumb = shared.thumbnail(dir / "g.jpg", 18);
    ASSERT_TRUE(thumb);
    ASSERT_TRUE(shared.exifDateTimeOriginal(dir / "g.jpg"));
    ASSERT_TRUE(shared.decodableTypeIdentifiers().count("public.jpeg"));

    auto none = platform::internal::makeVipsImageService(kMissingLibrary);
    expectNothingFrom(*none, dir / "g.jpg", thumb, true);
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

// A picture read from an open file in one go gives what the steps give, up
// to the own decoder's resize (PictureDecodersTest has more), and its date.
TEST_F(ImageService, AGrayPictureFromAnOpenFileIsTheStepsInOne) {
    testing_support::TempDir dir;
    testing_support::writeFile(dir / "g.jpg", datedGradientJpeg(400, 300));
    auto& images = platform::ImageService::shared();
    auto steps = images.pixels(images.grayStretch(images.thumbnail(dir / "g.jpg", 18), 18, 16));
    ASSERT_TRUE(steps);
    int fd = ::open((dir / "g.jpg").c_str(), O_RDONLY | O_CLOEXEC);
    auto picture = images.grayPicture(fd, platform::ImageFormat::jpeg, 18, 16);
    ::close(fd);
    ASSERT_TRUE(picture);
    ASSERT_EQ(picture->pixels.size(), steps->size());
    for (size_t i = 0; i < steps->size(); ++i) EXPECT_NEAR(picture->pixels[i], (*steps)[i], 10) << i;
    EXPECT_EQ(picture->dateTimeOriginal, "2023:05:06 07:08:09");
}

// What the library or GLib would print goes through platform::log, and only
// when it is critical: warnings are about damaged files, which callers learn
// of by value. Standard error stays empty either way.
TEST_F(ImageService, LibraryMessagesNeverReachStandardError) {
    testing_support::TempDir dir;
    std::string png = "\x89PNG\r\n\x1A\n";
    png += std::string("\0\0\0\x0DIHDR\0\0\0\x10\0\0\0\x10\x08\0\0\0\0", 21) + "damaged beyond the header";
    testing_support::writeFile(dir / "broken.png", png);
    testing_support::writeFile(dir / "empty.jpg", "\xFF\xD8\xFF");
    auto& images = platform::ImageService::shared();
    images.decodableTypeIdentifiers();  // the library is open, its handlers in place
    LogLines log;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(images.pixels(images.grayStretch(images.thumbnail(dir / "broken.png", 18), 18, 16)));
    EXPECT_FALSE(images.pixels(images.grayStretch(images.thumbnail(dir / "empty.jpg", 18), 18, 16)));
    g_log("GLib-GObject", G_LOG_LEVEL_WARNING, "value \"0\" of type 'gint' is invalid");
    g_log("VIPS", G_LOG_LEVEL_MESSAGE, "a message");
    g_log("SomeCodec", G_LOG_LEVEL_WARNING, "a codec's warning");
    g_log("SomeCodec", G_LOG_LEVEL_CRITICAL, "a codec's critical");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    std::vector<std::string> lines = log.taken();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "image library: SomeCodec: a codec's critical");
}

}  // namespace
