#pragma once
// The object model of the duplicate engine: what a scan finds on disk.
//
//   File        a regular file (also the base of all others)
//   Symlink     a symbolic link, never followed
//   Container   something that holds files; `duplicate` when it has a twin
//   Directory   a folder that was walked; owns its children
//   Package     a folder shown as one item; its inside is read only when hashed
//
// Photo and PhotoLibrary are in dff/PhotoLibrary.h.
//
// Ownership: a Directory owns its children, the finder owns the roots, each
// through a unique pointer: a search holds an object for every file, and a
// shared one would cost a counter block and a wider pointer apiece. Every
// other reference is a plain pointer valid until the finder releases its
// files. The destructor is virtual: an object may
// be deleted through any of its bases.
//
// Threading: objects are used by the one thread of a search.
//
//   auto root = dff::make<dff::Directory>(dff::Path("/data"), nullptr);
//   root->children.push_back(dff::make<dff::File>(root->path / "a.jpg", 1200, root.get()));

#include "dff/HashValue.h"
#include "dff/Path.h"

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace dff {

class Container;

class File {
public:
    File(Path path, long long size, Container* parent) : path(std::move(path)), size(size), parent(parent) {}
    virtual ~File() = default;
    File(const File&) = default;
    File(File&&) = default;
    File& operator=(const File&) = default;
    File& operator=(File&&) = default;

    Path path;
    // For a file or link the size lstat gave; for a Directory or Package the
    // sum that hashing adds up.
    long long size;
    // Null for a root, and for a library or package opened as a root.
    Container* parent;
    // Unset until the object has been hashed.
    HashValue hash;
    // True when this object has no duplicate, or one can't be proved; a
    // directory holding such an object can't be a duplicate either.
    bool unique = false;
    // The cached uniform type identifier; null until getType() read it.
    // Identifiers are kept once for the whole process (a few dozen cover all
    // files), so a file only points at its own.
    const std::string* type = nullptr;

    // The uniform type identifier, read once and then kept. Null when it
    // can't be read; a failed read is not cached.
    const std::string* getType();
};

class Symlink : public File {
public:
    using File::File;
};

class Container : public File {
public:
    using File::File;
    // True when the whole container has a twin.
    bool duplicate = false;
};

class Directory : public Container {
public:
    Directory(Path path, Container* parent) : Container(std::move(path), 0, parent) {}
    // A vector rather than a deque: a deque takes a 512-byte block even for
    // a folder of one file, and a search holds every folder at once.
    std::vector<std::unique_ptr<File>> children;
};

class Package : public Container {
public:
    Package(Path path, Container* parent) : Container(std::move(path), 0, parent) {}
};

// A new T, owned by the caller (or by the Directory it is given to).
template <class T, class... Args>
std::unique_ptr<T> make(Args&&... args) {
    return std::make_unique<T>(std::forward<Args>(args)...);
}

// Numbers the run-time classes for the directory digest: File 0,
// Directory 1, Symlink 2, any other 3.
int fileTypeId(const File& file);

}  // namespace dff
