#pragma once
// OMFolderElement: one entry of a folder listing, with its kind and its
// allocated size in bytes. Folders carry size 0; their size is what the
// caller adds up below them.
//
// Threading: a plain value; copy it freely between threads.
//
//   struct stat st;
//   if (Core::getFileInfo("/tmp", &st) == 0) {
//       Core::OMFolderElement root(st, "/tmp");   // root.isFolder() == true
//   }

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace Core {

class OMFolderElement {
public:
    OMFolderElement() = default;
    // From an lstat record: a folder keeps size 0; anything else gets the
    // allocated size (st_blocks * 512) and its kind from the mode.
    OMFolderElement(const struct stat& st, std::string path);

    enum class Kind { folder, normalFile, symbolicLink, specialFile };
    // An element of a known kind and size, as the listings build them.
    OMFolderElement(Kind kind, std::string path, uint64_t size);

    bool isFolder() const { return _isFolder; }
    bool isSpecialFile() const { return _isSpecialFile; }
    bool isSymbolicLink() const { return _isSymbolicLink; }
    bool isNormalFile() const { return _isNormalFile; }
    const std::string& path() const { return _path; }
    uint64_t size() const { return _size; }

private:
    bool _isFolder = false;
    bool _isSpecialFile = false;
    bool _isSymbolicLink = false;
    bool _isNormalFile = false;
    std::string _path;
    uint64_t _size = 0;
};

// lstat(path, buffer): 0 on success, -1 with errno set on failure.
int getFileInfo(const char* path, struct stat* buffer);
// The type bits of a mode say directory.
bool isFolder(mode_t mode);
// FIFO, character device, block device or socket.
bool isSpecialFile(mode_t mode);
bool isSymbolicLink(mode_t mode);

}  // namespace Core
