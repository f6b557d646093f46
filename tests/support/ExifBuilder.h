#pragma once
// Test helper: builds EXIF segments and small JPEG files around them, in
// either byte order, so that tests, fuzz seeds and benchmarks need no image
// files checked in.
//
//   testing_support::ExifBuilder exif(/*littleEndian=*/false);
//   exif.ascii(ExifBuilder::Ifd::zero, 271, "Maker")
//       .rationals(ExifBuilder::Ifd::exif, 33437, {{28, 10}});
//   std::string file = testing_support::jpegWith(exif.segment());

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

class ExifBuilder {
public:
    enum class Ifd { zero, exif, gps };
    using Rational = std::pair<uint32_t, uint32_t>;  // numerator, denominator

    explicit ExifBuilder(bool littleEndian = true) : _littleEndian(littleEndian) {}

    // Typed entries; the data goes inline or into the data area as it fits.
    // ascii() adds the terminating zero byte that EXIF writers put there.
    ExifBuilder& ascii(Ifd ifd, uint16_t tag, const std::string& text);
    ExifBuilder& bytes(Ifd ifd, uint16_t tag, const std::vector<uint8_t>& values);
    ExifBuilder& shorts(Ifd ifd, uint16_t tag, const std::vector<uint16_t>& values);
    ExifBuilder& longs(Ifd ifd, uint16_t tag, const std::vector<uint32_t>& values);
    ExifBuilder& rationals(Ifd ifd, uint16_t tag, const std::vector<Rational>& values);
    // An entry with any format and count, whose data (already in byte
    // order) is placed like the typed ones.
    ExifBuilder& entry(Ifd ifd, uint16_t tag, uint16_t format, uint32_t count, const std::string& data);
    // An entry whose value-or-offset field is written as given, e.g. an
    // offset that points past the end.
    ExifBuilder& rawEntry(Ifd ifd, uint16_t tag, uint16_t format, uint32_t count, uint32_t valueField);

    // "Exif\0\0", the TIFF header, IFD0 (with pointers to the EXIF and GPS
    // IFDs when they have entries), the EXIF IFD, the GPS IFD, the data.
    std::string segment() const;

    // Values in this builder's byte order.
    std::string u16(uint16_t value) const;
    std::string u32(uint32_t value) const;

private:
    struct Entry {
        uint16_t tag;
        uint16_t format;
        uint32_t count;
        std::string data;
        bool raw;            // valueField is written as given
        uint32_t valueField;
    };
    std::vector<Entry>& entries(Ifd ifd);

    bool _littleEndian;
    std::vector<Entry> _ifd0, _exif, _gps;
};

// A JPEG: the start marker, a JFIF APP0 segment, an APP1 segment around
// `app1Body`, `imageBytes` bytes of stand-in image data (never a marker),
// and the end marker.
std::string jpegWith(const std::string& app1Body, size_t imageBytes = 64);

// A JPEG with the same frame but no APP1 segment.
std::string jpegWithoutApp1(size_t imageBytes = 64);

// A camera's usual fields, in the given byte order:
//   IFD0: Make "Maker", Model "Model 7", Orientation 6, Software "fw 1.2",
//         DateTime "2023:05:06 07:08:09", Copyright "(c) someone"
//   EXIF: ExposureTime 1/250, FNumber 28/10, ISO 400, DateTimeOriginal
//         "2023:05:06 07:08:09", SubSecTimeOriginal "42", FocalLength 50/1,
//         Flash 0x19 (fired, returned light 0, mode 3), PixelX 4000 (LONG),
//         PixelY 3000 (SHORT), lens info 24/1 70/1 28/10 40/10,
//         LensMake "Glass", LensModel "Zoom 24-70"
//   GPS:  N 48 deg 51' 24", E 2 deg 21' 0", altitude 35/1 above sea level
ExifBuilder cameraExif(bool littleEndian);

// Small files for fuzz seeds and checks: each name starts with the result
// code the reader gives for it ("0-little-endian.jpg", "1985-...").
std::vector<std::pair<std::string, std::string>> exifSampleFiles();

}  // namespace testing_support
