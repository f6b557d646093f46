#pragma once
// easyexif::EXIFInfo: a small reader of the EXIF data in a JPEG file. It
// finds the APP1 segment and walks IFD0, the EXIF sub-IFD and the GPS IFD by
// itself, with no image library, and keeps the handful of fields below.
//
// Threading: an EXIFInfo is a plain value; parse into one object from one
// thread at a time. Distinct objects may be used on any threads.
//
// Failures raise nothing: the parse functions give a result code
// (`PARSE_EXIF_SUCCESS` or one of the `PARSE_EXIF_ERROR_...` codes), and the
// fields read before a failure keep their values. Every read is bounds-checked
// against the length given, whatever the bytes say.
//
//   easyexif::EXIFInfo info;
//   if (info.parseFrom(bytes.data(), unsigned(bytes.size())) == easyexif::PARSE_EXIF_SUCCESS)
//       std::printf("%s %s, f/%.1f\n", info.Make.c_str(), info.Model.c_str(), info.FNumber);
//
// It lives in the platform layer so that the picture decoders there read
// the orientation and date with it; dff::exifInfo(path) (dff/exif/EXIFInfo.h)
// reads a whole file and parses it, for callers that only want the fields.

#include <cstdint>
#include <string>

namespace easyexif {

namespace internal {
class IFEntry;
class SegmentBytes;
}  // namespace internal

// Result codes of the parse functions.
inline constexpr int PARSE_EXIF_SUCCESS = 0;
inline constexpr int PARSE_EXIF_ERROR_NO_JPEG = 1982;    // no start marker, or no end marker
inline constexpr int PARSE_EXIF_ERROR_NO_EXIF = 1983;    // no APP1 segment, or one without "Exif"
inline constexpr int PARSE_EXIF_ERROR_UNKNOWN_BYTEALIGN = 1984;  // neither "II" nor "MM"
inline constexpr int PARSE_EXIF_ERROR_CORRUPT = 1985;    // lengths or offsets outside the data

class EXIFInfo {
public:
    // Parses a whole JPEG file held in memory. The end is taken at the last
    // 0xFF 0xD9 marker (included); the first APP1 segment before it is read.
    int parseFrom(const unsigned char* buffer, unsigned length);
    // The same on the string's bytes. A string longer than 4 GiB is read up
    // to its first 4 GiB - 1 bytes.
    int parseFrom(const std::string& data);
    // Parses the body of an APP1 segment: "Exif", two zero bytes, then the
    // TIFF header and its IFDs. Fields are not reset first (parseFrom does
    // that); call clear() before reusing an object with this function.
    int parseFromEXIFSegment(const unsigned char* buffer, unsigned length);
    // Restores every field to its initial value.
    void clear();

    struct FlashBits {
        bool fired = false;               // bit 0
        unsigned char returnedLight = 0;  // bits 1 to 2
        unsigned char mode = 0;           // bits 3 to 4
    };
    struct Coordinate {
        double degrees = 0;
        double minutes = 0;
        double seconds = 0;
        char direction = '?';  // 'N' or 'S', 'E' or 'W'; '?' when not given
    };
    struct GPSData {
        double Latitude = 0;    // degrees, negative in the south
        double Longitude = 0;   // degrees, negative in the west
        double Altitude = 0;    // metres, negative below sea level
        unsigned char AltitudeRef = 0;  // 1 for below sea level
        double DOP = 0;         // the precision of the fix
        Coordinate LatComponents;
        Coordinate LonComponents;
    };
    struct LensData {
        double FStopMin = 0;        // smallest f-number at the shortest focal length
        double FStopMax = 0;        // smallest f-number at the longest focal length
        double FocalLengthMin = 0;  // millimetres
        double FocalLengthMax = 0;
        double FocalPlaneXResolution = 0;
        double FocalPlaneYResolution = 0;
        uint16_t FocalPlaneResolutionUnit = 0;
        std::string Make;
        std::string Model;
    };

    bool ByteAlign = false;  // true for little-endian ("II") data
    std::string ImageDescription;
    std::string Make;
    std::string Model;
    uint16_t Orientation = 0;
    uint16_t BitsPerSample = 0;
    std::string Software;
    std::string DateTime;
    std::string DateTimeOriginal;
    std::string DateTimeDigitized;
    std::string SubSecTimeOriginal;
    std::string Copyright;
    double ExposureTime = 0;
    double FNumber = 0;
    uint16_t ExposureProgram = 0;
    uint16_t ISOSpeedRatings = 0;
    double ShutterSpeedValue = 0;
    double ExposureBiasValue = 0;
    double SubjectDistance = 0;
    double FocalLength = 0;
    uint16_t FocalLengthIn35mm = 0;
    FlashBits Flash;
    uint16_t MeteringMode = 0;
    uint32_t ImageWidth = 0;
    uint32_t ImageHeight = 0;
    GPSData GeoLocation;
    LensData LensInfo;

private:
    // Takes a known tag of IFD0 or the EXIF sub-IFD in its expected format.
    void take(const internal::IFEntry& entry);
    // Reads the GPS IFD at `offset`; false when its entries lie outside.
    bool takeGPS(const internal::SegmentBytes& bytes, uint64_t offset);
};

}  // namespace easyexif
