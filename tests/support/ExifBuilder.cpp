#include "support/ExifBuilder.h"

namespace testing_support {

namespace {

constexpr uint16_t kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5;

size_t ifdSize(size_t entries) { return 2 + 12 * entries + 4; }

std::string marker(unsigned char second) { return std::string{char(0xFF), char(second)}; }

std::string bigEndian16(size_t value) { return std::string{char((value >> 8) & 0xFF), char(value & 0xFF)}; }

// Stand-in entropy-coded data: bytes below 0x80 never form a marker.
std::string imageData(size_t size) {
    std::string data(size, '\0');
    for (size_t i = 0; i < size; ++i) data[i] = char((i * 31 + 7) & 0x7F);
    return data;
}

}  // namespace

std::string ExifBuilder::u16(uint16_t value) const {
    char lo = char(value & 0xFF), hi = char(value >> 8);
    return _littleEndian ? std::string{lo, hi} : std::string{hi, lo};
}

std::string ExifBuilder::u32(uint32_t value) const {
    return _littleEndian ? u16(uint16_t(value)) + u16(uint16_t(value >> 16))
                         : u16(uint16_t(value >> 16)) + u16(uint16_t(value));
}

std::vector<ExifBuilder::Entry>& ExifBuilder::entries(Ifd ifd) {
    return ifd == Ifd::zero ? _ifd0 : ifd == Ifd::exif ? _exif : _gps;
}

ExifBuilder& ExifBuilder::entry(Ifd ifd, uint16_t tag, uint16_t format, uint32_t count, const std::string& data) {
    entries(ifd).push_back({tag, format, count, data, false, 0});
    return *this;
}

ExifBuilder& ExifBuilder::rawEntry(Ifd ifd, uint16_t tag, uint16_t format, uint32_t count, uint32_t valueField) {
    entries(ifd).push_back({tag, format, count, {}, true, valueField});
    return *this;
}

ExifBuilder& ExifBuilder::ascii(Ifd ifd, uint16_t tag, const std::string& text) {
    return entry(ifd, tag, kAscii, uint32_t(text.size() + 1), text + '\0');
}

ExifBuilder& ExifBuilder::bytes(Ifd ifd, uint16_t tag, const std::vector<uint8_t>& values) {
    return entry(ifd, tag, kByte, uint32_t(values.size()), std::string(values.begin(), values.end()));
}

ExifBuilder& ExifBuilder::shorts(Ifd ifd, uint16_t tag, const std::vector<uint16_t>& values) {
    std::string data;
    for (uint16_t v : values) data += u16(v);
    return entry(ifd, tag, kShort, uint32_t(values.size()), data);
}

ExifBuilder& ExifBuilder::longs(Ifd ifd, uint16_t tag, const std::vector<uint32_t>& values) {
    std::string data;
    for (uint32_t v : values) data += u32(v);
    return entry(ifd, tag, kLong, uint32_t(values.size()), data);
}

ExifBuilder& ExifBuilder::rationals(Ifd ifd, uint16_t tag, const std::vector<Rational>& values) {
    std::string data;
    for (const auto& [numerator, denominator] : values) data += u32(numerator) + u32(denominator);
    return entry(ifd, tag, kRational, uint32_t(values.size()), data);
}

std::string ExifBuilder::segment() const {
    // Offsets count from the TIFF header; IFD0 follows it directly.
    std::vector<Entry> ifd0 = _ifd0;
    size_t ifd0Count = ifd0.size() + (_exif.empty() ? 0 : 1) + (_gps.empty() ? 0 : 1);
    uint32_t exifAt = uint32_t(8 + ifdSize(ifd0Count));
    uint32_t gpsAt = uint32_t(exifAt + (_exif.empty() ? 0 : ifdSize(_exif.size())));
    uint32_t dataAt = uint32_t(gpsAt + (_gps.empty() ? 0 : ifdSize(_gps.size())));
    if (!_exif.empty()) ifd0.push_back({34665, kLong, 1, u32(exifAt), false, 0});
    if (!_gps.empty()) ifd0.push_back({34853, kLong, 1, u32(gpsAt), false, 0});

    std::string tables, data;
    auto writeIfd = [&](const std::vector<Entry>& list) {
        tables += u16(uint16_t(list.size()));
        for (const Entry& e : list) {
            tables += u16(e.tag) + u16(e.format) + u32(e.count);
            if (e.raw) {
                tables += u32(e.valueField);
            } else if (e.data.size() <= 4) {
                tables += e.data + std::string(4 - e.data.size(), '\0');
            } else {
                tables += u32(uint32_t(dataAt + data.size()));
                data += e.data;
            }
        }
        tables += u32(0);  // no next IFD
    };
    writeIfd(ifd0);
    if (!_exif.empty()) writeIfd(_exif);
    if (!_gps.empty()) writeIfd(_gps);

    std::string header = _littleEndian ? std::string("II") : std::string("MM");
    return std::string("Exif\0\0", 6) + header + u16(42) + u32(8) + tables + data;
}

std::string jpegWithoutApp1(size_t imageBytes) {
    std::string jfif = std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14);
    return marker(0xD8) + marker(0xE0) + bigEndian16(jfif.size() + 2) + jfif + marker(0xDB) + bigEndian16(4) +
           std::string("\0\1", 2) + imageData(imageBytes) + marker(0xD9);
}

std::string jpegWith(const std::string& app1Body, size_t imageBytes) {
    std::string plain = jpegWithoutApp1(imageBytes);
    // APP1 goes right behind the start marker, as cameras write it.
    return plain.substr(0, 2) + marker(0xE1) + bigEndian16(app1Body.size() + 2) + app1Body + plain.substr(2);
}

ExifBuilder cameraExif(bool littleEndian) {
    using Ifd = ExifBuilder::Ifd;
    ExifBuilder b(littleEndian);
    b.ascii(Ifd::zero, 271, "Maker")
        .ascii(Ifd::zero, 272, "Model 7")
        .shorts(Ifd::zero, 274, {6})
        .ascii(Ifd::zero, 305, "fw 1.2")
        .ascii(Ifd::zero, 306, "2023:05:06 07:08:09")
        .ascii(Ifd::zero, 33432, "(c) someone");
    b.rationals(Ifd::exif, 33434, {{1, 250}})
        .rationals(Ifd::exif, 33437, {{28, 10}})
        .shorts(Ifd::exif, 34855, {400})
        .ascii(Ifd::exif, 36867, "2023:05:06 07:08:09")
        .ascii(Ifd::exif, 37521, "42")
        .rationals(Ifd::exif, 37386, {{50, 1}})
        .shorts(Ifd::exif, 37385, {0x19})
        .longs(Ifd::exif, 40962, {4000})
        .shorts(Ifd::exif, 40963, {3000})
        .rationals(Ifd::exif, 42034, {{24, 1}, {70, 1}, {28, 10}, {40, 10}})
        .ascii(Ifd::exif, 42035, "Glass")
        .ascii(Ifd::exif, 42036, "Zoom 24-70");
    b.ascii(Ifd::gps, 1, "N")
        .rationals(Ifd::gps, 2, {{48, 1}, {51, 1}, {24, 1}})
        .ascii(Ifd::gps, 3, "E")
        .rationals(Ifd::gps, 4, {{2, 1}, {21, 1}, {0, 1}})
        .bytes(Ifd::gps, 5, {0})
        .rationals(Ifd::gps, 6, {{35, 1}});
    return b;
}

std::vector<std::pair<std::string, std::string>> exifSampleFiles() {
    using Ifd = ExifBuilder::Ifd;
    std::string little = cameraExif(true).segment();
    std::string southWest = ExifBuilder(false)
                                .ascii(Ifd::gps, 1, "S")
                                .rationals(Ifd::gps, 2, {{33, 1}, {52, 1}, {0, 0}})
                                .ascii(Ifd::gps, 3, "W")
                                .rationals(Ifd::gps, 4, {{70, 1}, {30, 1}, {36, 1}})
                                .bytes(Ifd::gps, 5, {1})
                                .rationals(Ifd::gps, 6, {{12, 1}})
                                .rationals(Ifd::gps, 11, {{5, 2}})
                                .segment();
    std::string badOrder = little;
    badOrder[6] = 'X';
    std::string jpeg = jpegWith(little, 32);
    return {
        {"0-little-endian.jpg", jpeg},
        {"0-big-endian.jpg", jpegWith(cameraExif(false).segment(), 32)},
        {"0-gps-south-west.jpg", jpegWith(southWest, 32)},
        {"1982-no-start-marker.jpg", jpeg.substr(2)},
        {"1983-no-app1.jpg", jpegWithoutApp1(32)},
        {"1984-unknown-byte-order.jpg", jpegWith(badOrder, 32)},
        {"1985-truncated-segment.jpg", jpegWith(little.substr(0, 40), 32)},
    };
}

}  // namespace testing_support
