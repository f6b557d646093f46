// Feeds arbitrary bytes to the photo library reader as both of a library's
// databases: the same file serves as "photos.db" and as "Photos.sqlite", so
// a mutated version number steers into either reader. It must never crash;
// "Failed to open DB" is an answer like any other.
#include "dff/PhotoLibraryReader.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace {

std::string temporaryFolder;

void removeLibrary() {
    std::error_code ec;
    std::filesystem::remove_all(temporaryFolder, ec);
}

const std::string& libraryFolder() {
    static const std::string folder = [] {
        char templ[] = "/tmp/photodb-fuzz-XXXXXX";
        if (!mkdtemp(templ)) __builtin_trap();
        temporaryFolder = templ;
        std::atexit(removeLibrary);
        std::string library = temporaryFolder + "/Fuzz.photoslibrary";
        std::filesystem::create_directories(library + "/database");
        return library;
    }();
    return folder;
}

void writeAll(const std::string& path, const uint8_t* data, size_t size) {
    ::unlink(path.c_str());
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return;
    if (size) std::fwrite(data, 1, size, file);
    std::fclose(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& library = libraryFolder();
    writeAll(library + "/database/photos.db", data, size);
    writeAll(library + "/database/Photos.sqlite", data, size);
    dff::PhotoLibrary photos(dff::Path(library), nullptr);
    try {
        dff::PhotoLibraryReader::readPhotos(photos);
    } catch (const std::runtime_error&) {
    }
    for (const auto& photo : photos.photos)
        if (photo.parent != &photos || photo.path.length() == 0) __builtin_trap();
    return 0;
}
