#pragma once
// dff::PackageHasher: the digest of a package, built in steps so that the
// search can compare packages pass by pass and drop one as soon as it has no
// partner. Three phases, strictly in order:
//   1. directories, one a step: the names, kinds and sizes of the whole
//      inside (a difference in structure shows before any file is read);
//   2. files, one reader step a call: their content;
//   3. links, one a step: their target texts.
// Nothing inside a package is filtered: hidden files, ".DS_Store" and
// excluded extensions all count.
//
// Threading: a hasher is used by one thread at a time; hashers share no
// buffer, so two searches may hash packages at once.
//
//   dff::PackageHasher hasher(package, minFileSize);
//   while (!hasher.update()) { dff::HashValue soFar; hasher.md5.hashValue(soFar); ... }

#include "dff/FileReader.h"
#include "dff/MD5.h"

#include <deque>
#include <memory>

namespace dff {

class PackageHasher {
public:
    struct File {
        Path path;
        long long size;
    };

    // Starts with the package's own path as the one directory to read.
    PackageHasher(Package* package, long long minSize);

    // One step; true when the package is complete. Throws std::runtime_error
    // with "Failed to open directory", "Unknown file type" (an entry that is
    // neither file, folder nor link), "Failed to read file info", "Too small"
    // (the whole inside is smaller than minSize), "Failed to read symbolic
    // link", or the errors of FileReader::read.
    bool update();

    MD5 md5;
    Package* package;
    long long minSize;
    // The reader of the file under way, or null.
    std::unique_ptr<FileReader> reader;
    std::deque<File> files;
    std::deque<File> links;
    // Still to be read; used from the back.
    std::deque<Path> directories;

private:
    bool calculateDirectories();
    bool calculateFiles();
    bool calculateSymlinks();
};

}  // namespace dff
