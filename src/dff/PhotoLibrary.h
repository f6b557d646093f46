#pragma once
// dff::Photo and dff::PhotoLibrary: a photo library is a package whose
// photos come from its database rather than from a walk (PhotoLibraryReader).
// Each photo is a file of the search; the library owns its photos by value.
//
// Threading: as the rest of the model, one thread of a search.
//
//   auto library = dff::make<dff::PhotoLibrary>(dff::Path("/p/Photos Library.photoslibrary"), nullptr);
//   dff::PhotoLibraryReader::readPhotos(*library);

#include "dff/File.h"

#include <deque>
#include <string>
#include <utility>

namespace dff {

class Photo : public File {
public:
    Photo(std::string id, Path path, long long size, Container* parent)
        : File(std::move(path), size, parent), id(std::move(id)) {}
    // The photo's identifier in the library's database.
    std::string id;
};

class PhotoLibrary : public Package {
public:
    PhotoLibrary(Path path, Container* parent) : Package(std::move(path), parent) {}
    // In database order. Appending keeps the addresses of those before, so
    // the indexes may point at them.
    std::deque<Photo> photos;
};

}  // namespace dff
