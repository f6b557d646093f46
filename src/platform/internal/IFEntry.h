#pragma once
// Internal to the EXIF reader: a bounds-checked view of an APP1 segment in
// its byte order, and one decoded IFD entry over it.
//
// An entry is 12 bytes: tag, format, count and a value-or-offset field. Data
// of up to four bytes lies in that field; longer data lies at the offset
// plus 6 (offsets count from the TIFF header, six bytes into the segment).
// Only BYTE, ASCII, SHORT, LONG and RATIONAL carry data here; an entry whose
// data would pass the end of the segment gets the tag 0xFF, so that it
// matches no known tag.
//
// Threading: plain values over borrowed bytes; the bytes must outlive them.

#include <cstddef>
#include <cstdint>
#include <string>

namespace easyexif::internal {

class SegmentBytes {
public:
    SegmentBytes(const unsigned char* data, size_t length, bool littleEndian)
        : _data(data), _length(length), _littleEndian(littleEndian) {}

    // True when `size` bytes from `offset` lie in the segment; never overflows.
    bool contains(uint64_t offset, uint64_t size) const {
        return offset <= _length && size <= _length - offset;
    }
    // Reads in the segment's byte order; the caller has checked contains().
    uint16_t u16(size_t offset) const;
    uint32_t u32(size_t offset) const;
    unsigned char byte(size_t offset) const { return _data[offset]; }
    const unsigned char* data() const { return _data; }
    size_t length() const { return _length; }

private:
    const unsigned char* _data;
    size_t _length;
    bool _littleEndian;
};

enum Format : uint16_t {
    BYTE = 1, ASCII = 2, SHORT = 3, LONG = 4, RATIONAL = 5,
    UNDEFINED = 7, SLONG = 9, SRATIONAL = 10,
};

inline constexpr uint16_t kUnmatchableTag = 0xFF;
// Offsets in entries count from the TIFF header, behind "Exif\0\0".
inline constexpr uint64_t kTIFFStart = 6;

class IFEntry {
public:
    // Decodes the entry at `offset`; the caller has checked contains(offset, 12).
    IFEntry(const SegmentBytes& bytes, size_t offset);

    uint16_t tag() const { return _tag; }

    // Each take... stores the value and gives true only when the entry has
    // data of the expected format and enough values; otherwise it leaves
    // `out` alone and gives false.
    bool takeText(std::string& out) const;                 // ASCII, less a final zero byte
    bool takeByte(unsigned char& out) const;               // BYTE, the first
    bool takeShort(uint16_t& out) const;                   // SHORT, the first
    bool takeLong(uint32_t& out) const;                    // LONG, the first
    bool takeShortOrLong(uint32_t& out) const;             // SHORT or LONG, the first
    bool takeRational(double& out) const;                  // RATIONAL, the first
    // RATIONAL with at least `n` values (exactly `n` when `exact`), the first n.
    bool takeRationals(double* out, uint32_t n, bool exact) const;

private:
    bool hasData(uint16_t format, uint32_t atLeast) const {
        return _hasData && _format == format && _count >= atLeast;
    }
    double rationalAt(uint32_t index) const;

    const SegmentBytes* _bytes;
    uint16_t _tag;
    uint16_t _format;
    uint32_t _count;
    size_t _dataOffset = 0;
    bool _hasData = false;
};

}  // namespace easyexif::internal
