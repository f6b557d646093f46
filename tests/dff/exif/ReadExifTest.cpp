#include "dff/exif/EXIFInfo.h"

#include "support/ExifBuilder.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace {

using testing_support::TempDir;

TEST(ReadExifTest, ReadsAWholeFile) {
    TempDir dir;
    testing_support::writeFile(dir / "photo.jpg", testing_support::jpegWith(testing_support::cameraExif(false).segment()));
    dff::ExifReading reading = dff::readExif(dir / "photo.jpg");
    EXPECT_EQ(reading.error, dff::ExifFileError::none);
    EXPECT_EQ(reading.code, easyexif::PARSE_EXIF_SUCCESS);
    EXPECT_EQ(reading.info.Model, "Model 7");

    testing::internal::CaptureStderr();
    easyexif::EXIFInfo info = dff::exifInfo(dir / "photo.jpg");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_DOUBLE_EQ(info.FNumber, 2.8);
}

TEST(ReadExifTest, FilesThatCannotBeReadGiveTheEmptyRecordAndSaySo) {
    TempDir dir;
    testing_support::writeFile(dir / "empty.jpg", "");
    struct Case {
        std::string path, message;
        dff::ExifFileError error;
        int code;
    } cases[] = {
        {dir / "missing.jpg", "Can't open file.\n", dff::ExifFileError::cantOpen, 0},
        {dir.str(), "Can't read file.\n", dff::ExifFileError::cantRead, 0},  // a folder opens but won't read
        {dir / "empty.jpg", "", dff::ExifFileError::none, easyexif::PARSE_EXIF_ERROR_NO_JPEG},
    };
    for (const Case& c : cases) {
        dff::ExifReading reading = dff::readExif(c.path);
        EXPECT_EQ(reading.error, c.error) << c.path;
        EXPECT_EQ(reading.code, c.code) << c.path;
        testing::internal::CaptureStderr();
        easyexif::EXIFInfo info = dff::exifInfo(c.path);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.message) << c.path;
        EXPECT_EQ(info.Make, "");
        EXPECT_EQ(info.GeoLocation.LatComponents.direction, '?');
    }
}

}  // namespace
