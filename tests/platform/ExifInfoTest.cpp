#include "platform/ExifInfo.h"

#include "support/ExifBuilder.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace {

using easyexif::EXIFInfo;
using testing_support::cameraExif;
using testing_support::ExifBuilder;
using testing_support::jpegWith;
using testing_support::jpegWithoutApp1;
using Ifd = ExifBuilder::Ifd;

constexpr int kOk = easyexif::PARSE_EXIF_SUCCESS;
constexpr int kNoJpeg = easyexif::PARSE_EXIF_ERROR_NO_JPEG;
constexpr int kNoExif = easyexif::PARSE_EXIF_ERROR_NO_EXIF;
constexpr int kByteOrder = easyexif::PARSE_EXIF_ERROR_UNKNOWN_BYTEALIGN;
constexpr int kCorrupt = easyexif::PARSE_EXIF_ERROR_CORRUPT;

// Parses from a heap block of exactly the data's size, so that the
// sanitizers see any read past the end.
int parse(EXIFInfo& info, const std::string& data) {
    std::vector<unsigned char> exact(data.begin(), data.end());
    return info.parseFrom(exact.data(), unsigned(exact.size()));
}

int parseSegment(EXIFInfo& info, const std::string& data) {
    std::vector<unsigned char> exact(data.begin(), data.end());
    return info.parseFromEXIFSegment(exact.data(), unsigned(exact.size()));
}

class ByteOrderTest : public testing::TestWithParam<bool> {};

TEST_P(ByteOrderTest, ReadsEveryFieldOfACamera) {
    bool little = GetParam();
    EXIFInfo info;
    ASSERT_EQ(parse(info, jpegWith(cameraExif(little).segment())), kOk);

    EXPECT_EQ(info.ByteAlign, little);
    EXPECT_EQ(info.Make, "Maker");
    EXPECT_EQ(info.Model, "Model 7");
    EXPECT_EQ(info.Orientation, 6);
    EXPECT_EQ(info.Software, "fw 1.2");
    EXPECT_EQ(info.DateTime, "2023:05:06 07:08:09");
    EXPECT_EQ(info.Copyright, "(c) someone");
    EXPECT_DOUBLE_EQ(info.ExposureTime, 1.0 / 250);
    EXPECT_DOUBLE_EQ(info.FNumber, 2.8);
    EXPECT_EQ(info.ISOSpeedRatings, 400);
    EXPECT_EQ(info.DateTimeOriginal, "2023:05:06 07:08:09");
    EXPECT_EQ(info.SubSecTimeOriginal, "42");
    EXPECT_DOUBLE_EQ(info.FocalLength, 50);
    EXPECT_TRUE(info.Flash.fired);
    EXPECT_EQ(info.Flash.returnedLight, 0);
    EXPECT_EQ(info.Flash.mode, 3);
    EXPECT_EQ(info.ImageWidth, 4000u);
    EXPECT_EQ(info.ImageHeight, 3000u);
    EXPECT_DOUBLE_EQ(info.LensInfo.FocalLengthMin, 24);
    EXPECT_DOUBLE_EQ(info.LensInfo.FocalLengthMax, 70);
    EXPECT_DOUBLE_EQ(info.LensInfo.FStopMin, 2.8);
    EXPECT_DOUBLE_EQ(info.LensInfo.FStopMax, 4.0);
    EXPECT_EQ(info.LensInfo.Make, "Glass");
    EXPECT_EQ(info.LensInfo.Model, "Zoom 24-70");

    const auto& geo = info.GeoLocation;
    EXPECT_EQ(geo.LatComponents.direction, 'N');
    EXPECT_EQ(geo.LonComponents.direction, 'E');
    EXPECT_DOUBLE_EQ(geo.LatComponents.minutes, 51);
    EXPECT_DOUBLE_EQ(geo.Latitude, 48 + 51 / 60.0 + 24 / 3600.0);
    EXPECT_DOUBLE_EQ(geo.Longitude, 2 + 21 / 60.0);
    EXPECT_DOUBLE_EQ(geo.Altitude, 35);
    EXPECT_EQ(geo.AltitudeRef, 0);
}

INSTANTIATE_TEST_SUITE_P(BothOrders, ByteOrderTest, testing::Bool(),
                         [](const auto& p) { return p.param ? "little" : "big"; });

TEST(EXIFInfoTest, SouthAndWestAreNegativeWhicheverEntryComesFirst) {
    // Values before their references, and a zero denominator in the seconds.
    std::string segment = ExifBuilder(false)
                              .rationals(Ifd::gps, 2, {{33, 1}, {52, 1}, {7, 0}})
                              .ascii(Ifd::gps, 1, "S")
                              .rationals(Ifd::gps, 4, {{70, 1}, {30, 1}, {36, 1}})
                              .ascii(Ifd::gps, 3, "W")
                              .rationals(Ifd::gps, 6, {{12, 1}})
                              .bytes(Ifd::gps, 5, {1})
                              .rationals(Ifd::gps, 11, {{5, 2}})
                              .segment();
    EXIFInfo info;
    ASSERT_EQ(parse(info, jpegWith(segment)), kOk);
    const auto& geo = info.GeoLocation;
    EXPECT_EQ(geo.LatComponents.direction, 'S');
    EXPECT_DOUBLE_EQ(geo.LatComponents.seconds, 0.0);
    EXPECT_DOUBLE_EQ(geo.Latitude, -(33 + 52 / 60.0));
    EXPECT_EQ(geo.LonComponents.direction, 'W');
    EXPECT_DOUBLE_EQ(geo.Longitude, -(70 + 30 / 60.0 + 36 / 3600.0));
    EXPECT_DOUBLE_EQ(geo.Altitude, -12);
    EXPECT_EQ(geo.AltitudeRef, 1);
    EXPECT_DOUBLE_EQ(geo.DOP, 2.5);
}

TEST(EXIFInfoTest, TakesTagsOnlyInTheirExpectedFormat) {
    ExifBuilder b(true);
    b.shorts(Ifd::zero, 271, {0x4141})                                // Make as SHORT
        .longs(Ifd::zero, 274, {3})                                   // Orientation as LONG
        .entry(Ifd::exif, 33437, 10, 1, b.u32(28) + b.u32(10))        // FNumber as SRATIONAL
        .entry(Ifd::exif, 37380, 10, 1, b.u32(1) + b.u32(3))          // bias as SRATIONAL
        .rationals(Ifd::exif, 33434, {{1, 0}})                        // zero denominator
        .bytes(Ifd::exif, 40962, {7})                                 // width as BYTE
        .entry(Ifd::exif, 37383, 0x99, 1, b.u16(5))                   // an unknown format
        .rationals(Ifd::exif, 42034, {{24, 1}, {70, 1}, {28, 10}})    // three, not four
        .rationals(Ifd::gps, 2, {{1, 1}, {2, 1}})                     // two, not three
        .shorts(Ifd::gps, 1, {'S'})
        .shorts(Ifd::exif, 34855, {100});
    EXIFInfo info;
    ASSERT_EQ(parse(info, jpegWith(b.segment())), kOk);
    EXPECT_EQ(info.Make, "");
    EXPECT_EQ(info.Orientation, 0);
    EXPECT_EQ(info.FNumber, 0);
    EXPECT_EQ(info.ExposureBiasValue, 0);
    EXPECT_EQ(info.ExposureTime, 0);
    EXPECT_EQ(info.ImageWidth, 0u);
    EXPECT_EQ(info.MeteringMode, 0);
    EXPECT_EQ(info.LensInfo.FocalLengthMin, 0);
    EXPECT_EQ(info.GeoLocation.LatComponents.degrees, 0);
    EXPECT_EQ(info.GeoLocation.LatComponents.direction, '?');
    EXPECT_EQ(info.ISOSpeedRatings, 100);  // the well-formed entry behind them still counts
}

TEST(EXIFInfoTest, TextLosesOneTrailingZeroAndMayLieInline) {
    ExifBuilder b(false);
    b.ascii(Ifd::zero, 271, "abc")                          // four bytes with the zero: inline
        .entry(Ifd::zero, 272, 2, 3, "xyz")                 // no zero at all
        .entry(Ifd::zero, 305, 2, 7, std::string("v1\0\0\0\0\0", 7))
        .entry(Ifd::gps, 1, 2, 2, std::string("\0\0", 2));  // a zero direction reads as '?'
    EXIFInfo info;
    ASSERT_EQ(parse(info, jpegWith(b.segment())), kOk);
    EXPECT_EQ(info.Make, "abc");
    EXPECT_EQ(info.Model, "xyz");
    EXPECT_EQ(info.Software, std::string("v1\0\0\0\0", 6));
    EXPECT_EQ(info.GeoLocation.LatComponents.direction, '?');
}

TEST(EXIFInfoTest, DataPastTheEndDropsOnlyThatEntry) {
    ExifBuilder b(true);
    b.rawEntry(Ifd::zero, 270, 2, 20, 4000)              // text offset past the end
        .rawEntry(Ifd::zero, 272, 2, 20, 0xFFFFFFF0u)    // an offset that wraps 32 bits
        .rawEntry(Ifd::zero, 305, 5, 0x40000000u, 0)     // a count far too large
        .ascii(Ifd::zero, 271, "Maker");
    EXIFInfo info;
    ASSERT_EQ(parse(info, jpegWith(b.segment())), kOk);
    EXPECT_EQ(info.ImageDescription, "");
    EXPECT_EQ(info.Model, "");
    EXPECT_EQ(info.Make, "Maker");
}

TEST(EXIFInfoTest, ResultCodesOfTheJpegFrame) {
    std::string good = jpegWith(cameraExif(true).segment());
    EXIFInfo info;
    EXPECT_EQ(info.parseFrom(nullptr, 100), kNoJpeg);
    EXPECT_EQ(parse(info, good.substr(0, 3)), kNoJpeg);
    EXPECT_EQ(parse(info, good.substr(1)), kNoJpeg);                     // no start marker
    EXPECT_EQ(parse(info, good.substr(0, good.size() - 2)), kNoJpeg);    // no end marker
    EXPECT_EQ(parse(info, std::string("\xFF\xD8\xD9\x00", 4)), kNoJpeg);  // only the start marker's 0xFF
    EXPECT_EQ(parse(info, std::string("\xFF\xD8\xFF\xD9", 4)), kNoExif);
    EXPECT_EQ(parse(info, jpegWithoutApp1()), kNoExif);
    EXPECT_EQ(parse(info, jpegWith(std::string(20, 'x'))), kNoExif);     // APP1 of another kind
    EXPECT_EQ(parse(info, jpegWith(std::string("Exif\0\0II*", 9))), kCorrupt);  // section under 16
    // A segment cut short by the end of the file: its length passes the end marker.
    EXPECT_EQ(parse(info, good.substr(0, 60) + "\xFF\xD9"), kCorrupt);
    // Trailing bytes behind the end marker are not read.
    EXPECT_EQ(parse(info, good + std::string(100, '\xFF')), kOk);
    EXPECT_EQ(info.parseFrom(good), kOk);
    EXPECT_EQ(info.Make, "Maker");
}

TEST(EXIFInfoTest, ResultCodesOfTheSegment) {
    std::string good = cameraExif(false).segment();
    auto with = [&](size_t at, std::string bytes) { return good.substr(0, at) + bytes + good.substr(at + bytes.size()); };
    ExifBuilder big(false);
    EXIFInfo info;
    EXPECT_EQ(info.parseFromEXIFSegment(nullptr, 20), kNoExif);
    EXPECT_EQ(parseSegment(info, good.substr(0, 5)), kNoExif);
    EXPECT_EQ(parseSegment(info, with(4, std::string("\0\1", 2))), kNoExif);
    EXPECT_EQ(parseSegment(info, good.substr(0, 13)), kCorrupt);
    EXPECT_EQ(parseSegment(info, with(6, "IM")), kByteOrder);
    EXPECT_EQ(parseSegment(info, with(8, big.u16(43))), kCorrupt);
    EXPECT_EQ(parseSegment(info, with(10, big.u32(uint32_t(good.size())))), kCorrupt);  // IFD0 outside
    EXPECT_EQ(parseSegment(info, with(14, big.u16(0xFFFF))), kCorrupt);                // count too large
    EXPECT_EQ(parseSegment(info, good), kOk);
}

TEST(EXIFInfoTest, ABrokenSubIfdKeepsWhatWasReadBefore) {
    ExifBuilder b(true);
    b.ascii(Ifd::zero, 271, "Maker").longs(Ifd::zero, 34665, {60000});
    EXIFInfo info;
    EXPECT_EQ(parse(info, jpegWith(b.segment())), kCorrupt);
    EXPECT_EQ(info.Make, "Maker");

    ExifBuilder g(false);
    g.shorts(Ifd::exif, 34855, {800}).longs(Ifd::zero, 34853, {0xFFFFFFFFu});
    EXPECT_EQ(parse(info, jpegWith(g.segment())), kCorrupt);
    EXPECT_EQ(info.Make, "");  // parseFrom starts afresh
    EXPECT_EQ(info.ISOSpeedRatings, 800);
}

// Every prefix of a real file, closed with an end marker, and every prefix
// of a segment: whatever the code, no read may leave the buffer.
TEST(EXIFInfoTest, EveryTruncationStaysInsideTheBuffer) {
    for (bool little : {true, false}) {
        std::string segment = cameraExif(little).segment();
        std::string file = jpegWith(segment, 8);
        EXIFInfo info;
        for (size_t n = 0; n <= file.size(); ++n) {
            int code = parse(info, file.substr(0, n) + "\xFF\xD9");
            EXPECT_TRUE(code == kOk || code == kNoJpeg || code == kNoExif || code == kCorrupt) << n;
        }
        for (size_t n = 0; n < segment.size(); ++n) parseSegment(info, segment.substr(0, n));
        EXPECT_EQ(parseSegment(info, segment), kOk);
    }
}

// The fuzz seeds are the builder's sample files; each name starts with the
// code it must give. CORE_WRITE_EXIF_SEEDS=1 rewrites them from the builder.
TEST(EXIFInfoTest, FuzzSeedsGiveTheCodesInTheirNames) {
    std::filesystem::path folder = std::filesystem::path(CORE_SOURCE_DIR) / "fuzz/corpus/exif";
    if (std::getenv("CORE_WRITE_EXIF_SEEDS") != nullptr)
        for (const auto& [name, bytes] : testing_support::exifSampleFiles())
            testing_support::writeFile(folder / name, bytes);
    size_t seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::string name = entry.path().filename().string();
        EXIFInfo info;
        EXPECT_EQ(parse(info, testing_support::readFile(entry.path())), std::stoi(name)) << name;
        ++seen;
    }
    EXPECT_GE(seen, testing_support::exifSampleFiles().size());
}

}  // namespace
