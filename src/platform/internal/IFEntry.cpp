#include "platform/internal/IFEntry.h"

namespace easyexif::internal {

namespace {

// Bytes per value of the formats that carry data; 0 for the rest.
uint64_t unitSize(uint16_t format) {
    switch (format) {
    case BYTE:
    case ASCII: return 1;
    case SHORT: return 2;
    case LONG: return 4;
    case RATIONAL: return 8;
    default: return 0;
    }
}

}  // namespace

uint16_t SegmentBytes::u16(size_t offset) const {
    const unsigned char* p = _data + offset;
    return _littleEndian ? uint16_t(p[0] | p[1] << 8) : uint16_t(p[0] << 8 | p[1]);
}

uint32_t SegmentBytes::u32(size_t offset) const {
    const unsigned char* p = _data + offset;
    if (_littleEndian) return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}

IFEntry::IFEntry(const SegmentBytes& bytes, size_t offset)
    : _bytes(&bytes),
      _tag(bytes.u16(offset)),
      _format(bytes.u16(offset + 2)),
      _count(bytes.u32(offset + 4)) {
    uint64_t dataAt = uint64_t(bytes.u32(offset + 8)) + kTIFFStart;
    uint64_t unit = unitSize(_format);
    if (unit == 0) return;
    uint64_t size = unit * _count;  // at most 8 * (2^32 - 1): no overflow in 64 bits
    if (size <= 4) {
        _dataOffset = offset + 8;
        _hasData = true;
    } else if (bytes.contains(dataAt, size)) {
        _dataOffset = size_t(dataAt);
        _hasData = true;
    } else {
        _tag = kUnmatchableTag;
    }
}

bool IFEntry::takeText(std::string& out) const {
    if (!hasData(ASCII, 0)) return false;
    size_t length = _count;
    if (length > 0 && _bytes->byte(_dataOffset + length - 1) == 0) --length;
    out.assign(reinterpret_cast<const char*>(_bytes->data() + _dataOffset), length);
    return true;
}

bool IFEntry::takeByte(unsigned char& out) const {
    if (!hasData(BYTE, 1)) return false;
    out = _bytes->byte(_dataOffset);
    return true;
}

bool IFEntry::takeShort(uint16_t& out) const {
    if (!hasData(SHORT, 1)) return false;
    out = _bytes->u16(_dataOffset);
    return true;
}

bool IFEntry::takeLong(uint32_t& out) const {
    if (!hasData(LONG, 1)) return false;
    out = _bytes->u32(_dataOffset);
    return true;
}

bool IFEntry::takeShortOrLong(uint32_t& out) const {
    uint16_t shortValue = 0;
    if (takeShort(shortValue)) {
        out = shortValue;
        return true;
    }
    return takeLong(out);
}

double IFEntry::rationalAt(uint32_t index) const {
    size_t at = _dataOffset + size_t(index) * 8;
    uint32_t numerator = _bytes->u32(at);
    uint32_t denominator = _bytes->u32(at + 4);
    return denominator == 0 ? 0.0 : double(numerator) / double(denominator);
}

bool IFEntry::takeRational(double& out) const { return takeRationals(&out, 1, false); }

bool IFEntry::takeRationals(double* out, uint32_t n, bool exact) const {
    if (!hasData(RATIONAL, n) || (exact && _count != n)) return false;
    for (uint32_t i = 0; i < n; ++i) out[i] = rationalAt(i);
    return true;
}

}  // namespace easyexif::internal
