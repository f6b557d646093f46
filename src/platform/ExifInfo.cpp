#include "platform/ExifInfo.h"

#include "platform/internal/IFEntry.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <optional>

namespace easyexif {

using internal::IFEntry;
using internal::kTIFFStart;
using internal::SegmentBytes;

namespace {

// Tags of IFD0 and the EXIF sub-IFD.
enum Tag : uint16_t {
    kBitsPerSample = 258,
    kImageDescription = 270,
    kMake = 271,
    kModel = 272,
    kOrientation = 274,
    kSoftware = 305,
    kDateTime = 306,
    kCopyright = 33432,
    kExposureTime = 33434,
    kFNumber = 33437,
    kExifIFDPointer = 34665,
    kExposureProgram = 34850,
    kGPSIFDPointer = 34853,
    kISOSpeedRatings = 34855,
    kDateTimeOriginal = 36867,
    kDateTimeDigitized = 36868,
    kShutterSpeedValue = 37377,
    kExposureBiasValue = 37380,
    kSubjectDistance = 37382,
    kMeteringMode = 37383,
    kFlash = 37385,
    kFocalLength = 37386,
    kSubSecTimeOriginal = 37521,
    kPixelXDimension = 40962,
    kPixelYDimension = 40963,
    kFocalPlaneXResolution = 41486,
    kFocalPlaneYResolution = 41487,
    kFocalPlaneResolutionUnit = 41488,
    kFocalLengthIn35mm = 41989,
    kLensSpecification = 42034,
    kLensMake = 42035,
    kLensModel = 42036,
};

// Tags of the GPS IFD.
enum GPSTag : uint16_t {
    kLatitudeRef = 1,
    kLatitude = 2,
    kLongitudeRef = 3,
    kLongitude = 4,
    kAltitudeRef = 5,
    kAltitude = 6,
    kDOP = 11,
};

// Calls `take` with each entry of the IFD at `offset`. False when the entry
// count or the entries themselves would lie outside the segment.
template <typename Take>
bool forEachEntry(const SegmentBytes& bytes, uint64_t offset, Take&& take) {
    if (!bytes.contains(offset, 2)) return false;
    uint16_t count = bytes.u16(size_t(offset));
    uint64_t first = offset + 2;
    if (!bytes.contains(first, uint64_t(count) * 12)) return false;
    for (uint16_t i = 0; i < count; ++i) take(IFEntry(bytes, size_t(first + uint64_t(i) * 12)));
    return true;
}

char directionOf(const IFEntry& entry, char current) {
    std::string text;
    if (!entry.takeText(text)) return current;
    return text.empty() || text[0] == '\0' ? '?' : text[0];
}

double degreesOf(const EXIFInfo::Coordinate& c) { return c.degrees + c.minutes / 60 + c.seconds / 3600; }

}  // namespace

void EXIFInfo::clear() { *this = EXIFInfo(); }

int EXIFInfo::parseFrom(const std::string& data) {
    // The length is 32 bits wide; EXIF data lies near the start anyway.
    unsigned length = data.size() > UINT_MAX ? UINT_MAX : unsigned(data.size());
    return parseFrom(reinterpret_cast<const unsigned char*>(data.data()), length);
}

int EXIFInfo::parseFrom(const unsigned char* buffer, unsigned length) {
    if (buffer == nullptr || length < 4) return PARSE_EXIF_ERROR_NO_JPEG;
    if (buffer[0] != 0xFF || buffer[1] != 0xD8) return PARSE_EXIF_ERROR_NO_JPEG;

    // The image ends at the last end marker that is not the start marker;
    // whatever trails it is not read.
    unsigned end = length - 2;
    while (end >= 2 && !(buffer[end] == 0xFF && buffer[end + 1] == 0xD9)) --end;
    if (end < 2) return PARSE_EXIF_ERROR_NO_JPEG;
    length = end + 2;

    clear();

    unsigned position = 0;
    while (position < length - 1 && !(buffer[position] == 0xFF && buffer[position + 1] == 0xE1)) ++position;
    if (uint64_t(position) + 4 > length) return PARSE_EXIF_ERROR_NO_EXIF;

    // The section length counts its own two bytes, not the marker.
    unsigned sectionLength = unsigned(buffer[position + 2]) << 8 | buffer[position + 3];
    if (uint64_t(position) + 2 + sectionLength > length || sectionLength < 16) return PARSE_EXIF_ERROR_CORRUPT;
    return parseFromEXIFSegment(buffer + position + 4, sectionLength - 2);
}

int EXIFInfo::parseFromEXIFSegment(const unsigned char* buffer, unsigned length) {
    static constexpr unsigned char kHeader[6] = {'E', 'x', 'i', 'f', 0, 0};
    if (buffer == nullptr || length < 6 || std::memcmp(buffer, kHeader, 6) != 0) return PARSE_EXIF_ERROR_NO_EXIF;
    if (length < 14) return PARSE_EXIF_ERROR_CORRUPT;

    if (buffer[6] == 'I' && buffer[7] == 'I')
        ByteAlign = true;
    else if (buffer[6] == 'M' && buffer[7] == 'M')
        ByteAlign = false;
    else
        return PARSE_EXIF_ERROR_UNKNOWN_BYTEALIGN;
    SegmentBytes bytes(buffer, length, ByteAlign);
    if (bytes.u16(8) != 42) return PARSE_EXIF_ERROR_CORRUPT;

    std::optional<uint64_t> exifOffset, gpsOffset;
    auto takeTagged = [this](const IFEntry& entry) { take(entry); };
    bool ifd0 = forEachEntry(bytes, bytes.u32(10) + kTIFFStart, [&](const IFEntry& entry) {
        uint32_t offset = 0;
        if (entry.tag() == kExifIFDPointer && entry.takeLong(offset))
            exifOffset = offset + kTIFFStart;
        else if (entry.tag() == kGPSIFDPointer && entry.takeLong(offset))
            gpsOffset = offset + kTIFFStart;
        else
            takeTagged(entry);
    });
    if (!ifd0) return PARSE_EXIF_ERROR_CORRUPT;
    if (exifOffset && !forEachEntry(bytes, *exifOffset, takeTagged)) return PARSE_EXIF_ERROR_CORRUPT;
    if (gpsOffset && !takeGPS(bytes, *gpsOffset)) return PARSE_EXIF_ERROR_CORRUPT;
    return PARSE_EXIF_SUCCESS;
}

void EXIFInfo::take(const internal::IFEntry& entry) {
    uint16_t flash = 0;
    double lens[4];
    switch (entry.tag()) {
    case kImageDescription: entry.takeText(ImageDescription); break;
    case kMake: entry.takeText(Make); break;
    case kModel: entry.takeText(Model); break;
    case kOrientation: entry.takeShort(Orientation); break;
    case kBitsPerSample: entry.takeShort(BitsPerSample); break;
    case kSoftware: entry.takeText(Software); break;
    case kDateTime: entry.takeText(DateTime); break;
    case kDateTimeOriginal: entry.takeText(DateTimeOriginal); break;
    case kDateTimeDigitized: entry.takeText(DateTimeDigitized); break;
    case kSubSecTimeOriginal: entry.takeText(SubSecTimeOriginal); break;
    case kCopyright: entry.takeText(Copyright); break;
    case kExposureTime: entry.takeRational(ExposureTime); break;
    case kFNumber: entry.takeRational(FNumber); break;
    case kExposureProgram: entry.takeShort(ExposureProgram); break;
    case kISOSpeedRatings: entry.takeShort(ISOSpeedRatings); break;
    case kShutterSpeedValue: entry.takeRational(ShutterSpeedValue); break;
    case kExposureBiasValue: entry.takeRational(ExposureBiasValue); break;
    case kSubjectDistance: entry.takeRational(SubjectDistance); break;
    case kFocalLength: entry.takeRational(FocalLength); break;
    case kFocalLengthIn35mm: entry.takeShort(FocalLengthIn35mm); break;
    case kFlash:
        if (entry.takeShort(flash)) {
            Flash.fired = (flash & 1) != 0;
            Flash.returnedLight = (flash >> 1) & 3;
            Flash.mode = (flash >> 3) & 3;
        }
        break;
    case kMeteringMode: entry.takeShort(MeteringMode); break;
    case kPixelXDimension: entry.takeShortOrLong(ImageWidth); break;
    case kPixelYDimension: entry.takeShortOrLong(ImageHeight); break;
    case kLensSpecification:
        // Shortest and longest focal length, then the smallest f-number at each.
        if (entry.takeRationals(lens, 4, false)) {
            LensInfo.FocalLengthMin = lens[0];
            LensInfo.FocalLengthMax = lens[1];
            LensInfo.FStopMin = lens[2];
            LensInfo.FStopMax = lens[3];
        }
        break;
    case kFocalPlaneXResolution: entry.takeRational(LensInfo.FocalPlaneXResolution); break;
    case kFocalPlaneYResolution: entry.takeRational(LensInfo.FocalPlaneYResolution); break;
    case kFocalPlaneResolutionUnit: entry.takeShort(LensInfo.FocalPlaneResolutionUnit); break;
    case kLensMake: entry.takeText(LensInfo.Make); break;
    case kLensModel: entry.takeText(LensInfo.Model); break;
    default: break;
    }
}

bool EXIFInfo::takeGPS(const internal::SegmentBytes& bytes, uint64_t offset) {
    Coordinate& lat = GeoLocation.LatComponents;
    Coordinate& lon = GeoLocation.LonComponents;
    bool haveLatitude = false, haveLongitude = false, haveAltitude = false;
    bool ok = forEachEntry(bytes, offset, [&](const IFEntry& entry) {
        double parts[3];
        switch (entry.tag()) {
        case kLatitudeRef: lat.direction = directionOf(entry, lat.direction); break;
        case kLongitudeRef: lon.direction = directionOf(entry, lon.direction); break;
        case kLatitude:
        case kLongitude:
            if (entry.takeRationals(parts, 3, true)) {
                Coordinate& c = entry.tag() == kLatitude ? lat : lon;
                c.degrees = parts[0];
                c.minutes = parts[1];
                c.seconds = parts[2];
                (entry.tag() == kLatitude ? haveLatitude : haveLongitude) = true;
            }
            break;
        case kAltitudeRef: entry.takeByte(GeoLocation.AltitudeRef); break;
        case kAltitude: haveAltitude = entry.takeRational(GeoLocation.Altitude) || haveAltitude; break;
        case kDOP: entry.takeRational(GeoLocation.DOP); break;
        default: break;
        }
    });
    if (!ok) return false;
    // The references may come before or after their values, so signs are
    // applied once the whole IFD is read.
    if (haveLatitude) GeoLocation.Latitude = (lat.direction == 'S' ? -1 : 1) * degreesOf(lat);
    if (haveLongitude) GeoLocation.Longitude = (lon.direction == 'W' ? -1 : 1) * degreesOf(lon);
    if (haveAltitude && GeoLocation.AltitudeRef == 1) GeoLocation.Altitude = -GeoLocation.Altitude;
    return true;
}

}  // namespace easyexif
