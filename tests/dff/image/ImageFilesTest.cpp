#include "dff/image/ImageFiles.h"
#include "dff/image/ImageHash.h"

#include "support/ExifBuilder.h"
#include "support/ImageBuilder.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <vips/vips.h>

#include "platform/FileTypes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <numeric>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing_support::ExifBuilder;
using testing_support::JpegOptions;

constexpr uint16_t kDateTimeOriginal = 36867;

// Sets the process time zone for one test and puts the old one back.
class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const char* zone) {
        if (const char* old = std::getenv("TZ")) _old = old;
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~ScopedTimeZone() {
        if (_old)
            ::setenv("TZ", _old->c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }

private:
    std::optional<std::string> _old;
};

std::string exifWithDate(const std::string& text) {
    ExifBuilder exif(true);
    exif.ascii(ExifBuilder::Ifd::exif, kDateTimeOriginal, text);
    return exif.segment();
}

class ImageFilesTest : public testing::Test {
protected:
    std::string write(const std::string& name, const std::string& bytes) {
        testing_support::writeFile(dir / name, bytes);
        return dir / name;
    }
    std::string writeJpeg(const std::string& name, const std::vector<uint8_t>& pixels, int width, int height,
                          const JpegOptions& options = {}) {
        return write(name, testing_support::encodeJpeg(pixels, width, height, 1, options));
    }

    testing_support::TempDir dir;
};

// A picture is known by its type, read from its name, and only while it
// exists; a File keeps the type it read. One table of types answers for
// files and for the image service.
TEST_F(ImageFilesTest, ImagesAreKnownByTypeAndOnlyWhenTheyExist) {
    std::string jpeg = writeJpeg("a.jpg", std::vector<uint8_t>(64, 9), 8, 8);
    EXPECT_TRUE(dff::isImage(jpeg.c_str()));
    EXPECT_TRUE(dff::isImage(write("b.JPEG", "any bytes: the type comes from the name").c_str()));
    EXPECT_FALSE(dff::isImage(write("c.txt", "text").c_str()));
    EXPECT_FALSE(dff::isImage(write("d.csv", "1,2\n").c_str())) << "readable, but no picture";
    EXPECT_FALSE(dff::isImage(write("jpg", "no extension").c_str()));
    EXPECT_FALSE(dff::isImage((dir / "missing.jpg").c_str()));
    EXPECT_FALSE(dff::isImage(nullptr));

    dff::File file(dff::Path(jpeg), 0, nullptr);
    EXPECT_TRUE(dff::isImage(file));
    ASSERT_EQ(std::remove(file.path.cStr()), 0);
    EXPECT_TRUE(dff::isImage(file));
    EXPECT_FALSE(dff::isImage(file.path.cStr()));

    const auto& decodable = platform::ImageService::shared().decodableTypeIdentifiers();
    const auto& listed = platform::imageTypeIdentifiers();
    EXPECT_EQ(std::set<std::string>(listed.begin(), listed.end()),
              std::set<std::string>(decodable.begin(), decodable.end()));
    EXPECT_FALSE(platform::imageTypeIdentifierForExtension("csv"));
    EXPECT_EQ(platform::imageTypeIdentifierForExtension("AVIF"), "public.avif");
}

TEST_F(ImageFilesTest, AnyPictureBecomesExactly18By16GrayBytes) {
    // Wide, tall, tiny and colour pictures all come out at the asked size.
    struct Case { int width, height, bands; };
    for (Case c : {Case{40, 30, 1}, Case{3, 100, 1}, Case{1, 1, 1}, Case{17, 16, 3}, Case{400, 7, 3}}) {
        std::vector<uint8_t> pixels(size_t(c.width) * c.height * c.bands, 120);
        std::string path = write("p.jpg", testing_support::encodeJpeg(pixels, c.width, c.height, c.bands));
        auto gray = dff::createGrayscaleImage(path, 18, 16);
        ASSERT_TRUE(gray) << c.width << "x" << c.height;
        ASSERT_EQ(gray->size(), 18u * 16u);
        for (uint8_t v : *gray) EXPECT_NEAR(v, 120, 3) << c.width << "x" << c.height << "x" << c.bands;
    }
    // The thumbnail keeps the aspect and is never enlarged.
    std::string wide = writeJpeg("w.jpg", std::vector<uint8_t>(40 * 30, 1), 40, 30);
    platform::Image thumb = dff::createThumbnailImage(wide.c_str(), 18);
    EXPECT_EQ(thumb.width(), 18);
    EXPECT_EQ(thumb.height(), 14);
    std::string small = writeJpeg("s.jpg", std::vector<uint8_t>(5 * 4, 1), 5, 4);
    EXPECT_EQ(dff::createThumbnailImage(small.c_str(), 18).width(), 5);
}

TEST_F(ImageFilesTest, TransparencyIsFlattenedOntoBlack) {
    // A white picture, fully transparent, saved as PNG.
    std::vector<uint8_t> rgba(20 * 20 * 4, 255);
    for (size_t i = 3; i < rgba.size(); i += 4) rgba[i] = 0;
    platform::ImageService::shared().decodableTypeIdentifiers();
    platform::Image image = platform::Image::adopt(
        vips_image_new_from_memory(rgba.data(), rgba.size(), 20, 20, 4, VIPS_FORMAT_UCHAR));
    ASSERT_TRUE(image);
    image.get()->Type = VIPS_INTERPRETATION_sRGB;
    ASSERT_EQ(vips_pngsave(image.get(), (dir / "t.png").c_str(), nullptr), 0);

    auto gray = dff::createGrayscaleImage(dir / "t.png", 18, 16);
    ASSERT_TRUE(gray);
    for (uint8_t v : *gray) EXPECT_LE(v, 2);
}

TEST_F(ImageFilesTest, HashOfAFileMatchesItsBitmapAndCarriesTheDate) {
    ScopedTimeZone utc("UTC");
    auto gradient = testing_support::horizontalGradient(72, 64);
    std::string path = writeJpeg("g.jpg", gradient, 72, 64, JpegOptions{exifWithDate("2023:05:06 07:08:09"), 0, 95});

    dff::ImageHashValue h = dff::hashImage(path);
    auto gray = dff::createGrayscaleImage(path, 18, 16);
    ASSERT_TRUE(gray);
    EXPECT_TRUE(h == dff::hashValue(gray->data(), 18, 16));
    EXPECT_EQ(h.date, "1683356889.000000");
}

TEST_F(ImageFilesTest, DatesPresentAbsentAndUnreadable) {
    std::vector<uint8_t> pixels(16 * 16, 77);
    {
        ScopedTimeZone zone("UTC");
        EXPECT_EQ(dff::getImageCreationDate(writeJpeg("d1.jpg", pixels, 16, 16, {exifWithDate("2000:01:01 00:00:00")})),
                  "946684800.000000");
    }
    {
        // Read in the local zone, with its summer time on that day.
        ScopedTimeZone zone("Europe/Berlin");
        EXPECT_EQ(dff::getImageCreationDate(writeJpeg("d2.jpg", pixels, 16, 16, {exifWithDate("2023:07:01 12:00:00")})),
                  "1688205600.000000");
    }
    EXPECT_EQ(dff::getImageCreationDate(writeJpeg("none.jpg", pixels, 16, 16)), "");
    ExifBuilder other(false);
    other.ascii(ExifBuilder::Ifd::zero, 306, "2023:05:06 07:08:09");  // DateTime, not the original
    EXPECT_EQ(dff::getImageCreationDate(writeJpeg("other.jpg", pixels, 16, 16, {other.segment()})), "");
    EXPECT_EQ(dff::getImageCreationDate(writeJpeg("blank.jpg", pixels, 16, 16, {exifWithDate("    :  :     :  :  ")})),
              "0.000000");
    EXPECT_EQ(dff::getImageCreationDate(dir / "missing.jpg"), "");
    EXPECT_EQ(dff::getImageCreationDate(write("bad.jpg", "not a picture")), "");
}

TEST(FormatExifDate, OnlyWholeValidDatesParse) {
    ScopedTimeZone utc("UTC");
    EXPECT_EQ(dff::formatExifDate("1970:01:01 00:00:01"), "1.000000");
    EXPECT_EQ(dff::formatExifDate("2024:02:29 23:59:59"), "1709251199.000000");
    EXPECT_EQ(dff::formatExifDate("1969:12:31 23:59:00"), "-60.000000");
    for (const char* bad : {"2023:02:29 10:00:00", "2023:13:01 10:00:00", "2023:00:10 10:00:00",
                            "2023:01:01 24:00:00", "2023:01:01 10:60:00", "2023-01-01 10:00:00",
                            "2023:01:01 10:00:00Z", "2023:1:01 10:00:00", "", "garbage"})
        EXPECT_EQ(dff::formatExifDate(bad), "0.000000") << bad;
}

TEST_F(ImageFilesTest, FilesThatDoNotDecodeFailWithTheFixedMessage) {
    testing_support::LogLines log;
    for (const std::string& path : {write("bad.jpg", "not a picture at all"), write("empty.png", ""),
                                    dir / "missing.jpg", write("half.jpg", std::string("\xFF\xD8\xFF", 3))}) {
        EXPECT_FALSE(dff::createGrayscaleImage(path, 18, 16)) << path;
        try {
            dff::hashImage(path);
            ADD_FAILURE() << "no error for " << path;
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Failed to read image");
        }
    }
    // Only the file with a picture's signature failed to decode; the others
    // were never pictures.
    std::vector<std::string> ours;
    for (const auto& line : log.taken())
        if (line.rfind("duplicates: ", 0) == 0) ours.push_back(line);
    EXPECT_EQ(ours, (std::vector<std::string>{"duplicates: Failed to decode picture: " + dir / "half.jpg"}));
}

}  // namespace
