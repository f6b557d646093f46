// sweeper exif FILE: the EXIF fields of a JPEG file, with the reader's
// result code. Fields read before a failure are shown with the code.
#include "Command.h"
#include "Output.h"

#include "dff/exif/EXIFInfo.h"
#include "platform/Strings.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <string>

namespace sweeper {
namespace {

using Fields = nlohmann::ordered_json;

// EXIF text is meant to be ASCII but cameras write what they like; bytes
// that aren't UTF-8 are taken as Latin-1 so that the output stays valid.
std::string printable(const std::string& text) {
    if (platform::isValidUTF8(text)) return text;
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x80) {
            out += char(c);
        } else {
            out += char(0xC0 | c >> 6);
            out += char(0x80 | (c & 0x3F));
        }
    }
    return out;
}

Fields coordinate(const easyexif::EXIFInfo::Coordinate& c) {
    return {{"degrees", c.degrees}, {"minutes", c.minutes}, {"seconds", c.seconds},
            {"direction", printable(std::string(1, c.direction))}};
}

Fields fieldsOf(const easyexif::EXIFInfo& i) {
    const auto& geo = i.GeoLocation;
    const auto& lens = i.LensInfo;
    return {
        {"ByteAlign", i.ByteAlign},
        {"ImageDescription", printable(i.ImageDescription)},
        {"Make", printable(i.Make)},
        {"Model", printable(i.Model)},
        {"Orientation", i.Orientation},
        {"BitsPerSample", i.BitsPerSample},
        {"Software", printable(i.Software)},
        {"DateTime", printable(i.DateTime)},
        {"DateTimeOriginal", printable(i.DateTimeOriginal)},
        {"DateTimeDigitized", printable(i.DateTimeDigitized)},
        {"SubSecTimeOriginal", printable(i.SubSecTimeOriginal)},
        {"Copyright", printable(i.Copyright)},
        {"ExposureTime", i.ExposureTime},
        {"FNumber", i.FNumber},
        {"ExposureProgram", i.ExposureProgram},
        {"ISOSpeedRatings", i.ISOSpeedRatings},
        {"ShutterSpeedValue", i.ShutterSpeedValue},
        {"ExposureBiasValue", i.ExposureBiasValue},
        {"SubjectDistance", i.SubjectDistance},
        {"FocalLength", i.FocalLength},
        {"FocalLengthIn35mm", i.FocalLengthIn35mm},
        {"Flash", {{"fired", i.Flash.fired}, {"returnedLight", i.Flash.returnedLight}, {"mode", i.Flash.mode}}},
        {"MeteringMode", i.MeteringMode},
        {"ImageWidth", i.ImageWidth},
        {"ImageHeight", i.ImageHeight},
        {"GeoLocation",
         {{"Latitude", geo.Latitude},
          {"Longitude", geo.Longitude},
          {"Altitude", geo.Altitude},
          {"AltitudeRef", geo.AltitudeRef},
          {"DOP", geo.DOP},
          {"LatComponents", coordinate(geo.LatComponents)},
          {"LonComponents", coordinate(geo.LonComponents)}}},
        {"LensInfo",
         {{"FStopMin", lens.FStopMin},
          {"FStopMax", lens.FStopMax},
          {"FocalLengthMin", lens.FocalLengthMin},
          {"FocalLengthMax", lens.FocalLengthMax},
          {"FocalPlaneXResolution", lens.FocalPlaneXResolution},
          {"FocalPlaneYResolution", lens.FocalPlaneYResolution},
          {"FocalPlaneResolutionUnit", lens.FocalPlaneResolutionUnit},
          {"Make", printable(lens.Make)},
          {"Model", printable(lens.Model)}}},
    };
}

const char* meaningOf(int code) {
    switch (code) {
    case easyexif::PARSE_EXIF_SUCCESS: return "success";
    case easyexif::PARSE_EXIF_ERROR_NO_JPEG: return "not a JPEG";
    case easyexif::PARSE_EXIF_ERROR_NO_EXIF: return "no EXIF data";
    case easyexif::PARSE_EXIF_ERROR_UNKNOWN_BYTEALIGN: return "unknown byte order";
    case easyexif::PARSE_EXIF_ERROR_CORRUPT: return "corrupt data";
    default: return "unknown";
    }
}

// One "name: value" line a field, nested objects indented below their name.
void printText(const Fields& fields, int depth) {
    std::string indent(size_t(depth) * 2, ' ');
    for (const auto& [name, value] : fields.items()) {
        if (value.is_object()) {
            std::printf("%s%s:\n", indent.c_str(), name.c_str());
            printText(value, depth + 1);
        } else {
            std::string shown = value.is_string() ? value.get<std::string>() : value.dump();
            std::printf("%s%s: %s\n", indent.c_str(), name.c_str(), shown.c_str());
        }
    }
}

CommandRegistration reg{{"exif"}, "Read the EXIF fields of a JPEG file", [](CLI::App& cmd, Globals& globals) {
    auto file = std::make_shared<std::string>();
    cmd.add_option("FILE", *file, "The JPEG file")->required();
    return [file, &globals] {
        dff::ExifReading reading = dff::readExif(*file);
        if (reading.error == dff::ExifFileError::cantOpen) throw CommandError("Can't open file.");
        if (reading.error == dff::ExifFileError::cantRead) throw CommandError("Can't read file.");
        Fields fields = fieldsOf(reading.info);
        if (globals.json) {
            printJson(nlohmann::json{{"code", reading.code}, {"fields", nlohmann::json(fields)}});
        } else {
            std::printf("code: %d (%s)\n", reading.code, meaningOf(reading.code));
            printText(fields, 0);
        }
        // A file without EXIF data is an answer, not a failure: the code says it.
        return 0;
    };
}};

}  // namespace
}  // namespace sweeper
