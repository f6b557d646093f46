#include "dff/exif/EXIFInfo.h"

#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <new>
#include <vector>

namespace dff {

ExifReading readExif(const Path& path) {
    ExifReading reading;
    // Not blocking: a FIFO opens at once, fails to seek and is not read.
    int fd = ::open(path.cStr(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    std::FILE* file = fd < 0 ? nullptr : ::fdopen(fd, "rb");
    if (file == nullptr) {
        if (fd >= 0) ::close(fd);
        reading.error = ExifFileError::cantOpen;
        return reading;
    }
    std::vector<unsigned char> buffer;
    bool whole = false;
    if (std::fseek(file, 0, SEEK_END) == 0) {
        long size = std::ftell(file);
        // The parser takes 32-bit lengths; a folder may report any size.
        if (size >= 0 && static_cast<unsigned long>(size) < UINT_MAX && std::fseek(file, 0, SEEK_SET) == 0) {
            try {
                buffer.resize(size_t(size));
                whole = std::fread(buffer.data(), 1, buffer.size(), file) == buffer.size();
                // A folder opens and seeks, but reading it fails.
                whole = whole && std::fgetc(file) == EOF && !std::ferror(file);
            } catch (const std::bad_alloc&) {
                whole = false;
            }
        }
    }
    std::fclose(file);
    if (!whole) {
        reading.error = ExifFileError::cantRead;
        return reading;
    }
    reading.code = reading.info.parseFrom(buffer.data(), unsigned(buffer.size()));
    return reading;
}

easyexif::EXIFInfo exifInfo(const Path& path) {
    ExifReading reading = readExif(path);
    if (reading.error == ExifFileError::cantOpen) std::fputs("Can't open file.\n", stderr);
    if (reading.error == ExifFileError::cantRead) std::fputs("Can't read file.\n", stderr);
    return reading.info;
}

}  // namespace dff
