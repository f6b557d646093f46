#pragma once
// dff::readExif and dff::exifInfo: the EXIF fields of a whole file, read
// with the platform's EXIF reader (easyexif::EXIFInfo).
//
//   easyexif::EXIFInfo info = dff::exifInfo(path);

#include "dff/Path.h"
#include "platform/ExifInfo.h"

namespace dff {

// Why a file gave no EXIF fields before the parser saw it.
enum class ExifFileError { none, cantOpen, cantRead };

// What reading a file's EXIF data gave: the file error, the parser's result
// code (meaningful only when `error` is none) and the fields read.
struct ExifReading {
    ExifFileError error = ExifFileError::none;
    int code = easyexif::PARSE_EXIF_SUCCESS;
    easyexif::EXIFInfo info;
};

// Reads the whole file and parses it. Prints nothing; a file that cannot be
// opened or read (a folder, one of 4 GiB or more) gives empty fields.
ExifReading readExif(const Path& path);

// The fields of the file's EXIF data. On a file that cannot be opened it
// prints "Can't open file.", on one that cannot be read whole "Can't read
// file." (to standard error, so a host's own output stays clean) and gives
// the empty record; the parser's result code is dropped.
easyexif::EXIFInfo exifInfo(const Path& path);

}  // namespace dff
