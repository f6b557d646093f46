#include "disk/OMFolderElement.h"

#include <utility>

namespace Core {

OMFolderElement::OMFolderElement(const struct stat& st, std::string path) : _path(std::move(path)) {
    mode_t mode = st.st_mode;
    if (Core::isFolder(mode)) {
        _isFolder = true;
        return;
    }
    _isSpecialFile = Core::isSpecialFile(mode);
    _isSymbolicLink = Core::isSymbolicLink(mode);
    _isNormalFile = S_ISREG(mode);
    _size = st.st_blocks > 0 ? static_cast<uint64_t>(st.st_blocks) << 9 : 0;
}

OMFolderElement::OMFolderElement(Kind kind, std::string path, uint64_t size)
    : _isFolder(kind == Kind::folder),
      _isSpecialFile(kind == Kind::specialFile),
      _isSymbolicLink(kind == Kind::symbolicLink),
      _isNormalFile(kind == Kind::normalFile),
      _path(std::move(path)),
      _size(kind == Kind::folder ? 0 : size) {}

int getFileInfo(const char* path, struct stat* buffer) {
    if (path == nullptr || buffer == nullptr) return -1;
    return ::lstat(path, buffer);
}

bool isFolder(mode_t mode) { return (mode & 0xF000) == 0x4000; }

bool isSpecialFile(mode_t mode) {
    switch (mode & 0xF000) {
        case 0x1000:  // FIFO
        case 0x2000:  // character device
        case 0x6000:  // block device
        case 0xC000:  // socket
            return true;
        default:
            return false;
    }
}

bool isSymbolicLink(mode_t mode) { return (mode & 0xF000) == 0xA000; }

}  // namespace Core
