#include "dff/exif/EXIFInfo.h"

#include "support/ExifBuilder.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace {

using testing_support::TempDir;

// A whole file reads silently; one that cannot be read gives the empty
// record and says so on standard error.
TEST(ReadExifTest, ReadsAWholeFileOrGivesTheEmptyRecordAndSaysSo) {
    TempDir dir;
    testing_support::writeFile(dir / "photo.jpg", testing_support::jpegWith(testing_support::cameraExif(false).segment()));
    testing_support::writeFile(dir / "empty.jpg", "");
    struct Case {
        std::string path, message;
        dff::ExifFileError error;
        int code;
        std::string make;
    } cases[] = {
        {dir / "photo.jpg", "", dff::ExifFileError::none, easyexif::PARSE_EXIF_SUCCESS, "Maker"},
        {dir / "missing.jpg", "Can't open file.\n", dff::ExifFileError::cantOpen, 0, ""},
        {dir.str(), "Can't read file.\n", dff::ExifFileError::cantRead, 0, ""},  // a folder opens but won't read
        {dir / "empty.jpg", "", dff::ExifFileError::none, easyexif::PARSE_EXIF_ERROR_NO_JPEG, ""},
    };
    for (const Case& c : cases) {
        dff::ExifReading reading = dff::readExif(c.path);
        EXPECT_EQ(reading.error, c.error) << c.path;
        EXPECT_EQ(reading.code, c.code) << c.path;
        testing::internal::CaptureStderr();
        easyexif::EXIFInfo info = dff::exifInfo(c.path);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.message) << c.path;
        EXPECT_EQ(info.Make, c.make);
        EXPECT_EQ(info.GeoLocation.LatComponents.direction, c.make.empty() ? '?' : 'N');
    }
}

}  // namespace
