#include "disk/internal/DirectoryReader.h"

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Core::internal {

namespace {

// The kernel's record; glibc 2.36 has no wrapper for getdents64.
struct LinuxDirent64 {
    uint64_t d_ino;
    int64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[];
};

}  // namespace

bool DirectoryReader::next(Entry& entry) {
    for (;;) {
        if (_offset >= _filled) {
            if (_ended) return false;
            long count = ::syscall(SYS_getdents64, _fd, _buffer, kBufferSize);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) {
                if (count < 0) _error = errno;
                _ended = true;
                return false;
            }
            _filled = static_cast<size_t>(count);
            _offset = 0;
        }
        const auto* record = reinterpret_cast<const LinuxDirent64*>(_buffer + _offset);
        if (record->d_reclen == 0 || _offset + record->d_reclen > _filled) {
            // A record the kernel should never give; stop rather than loop.
            _error = EIO;
            _ended = true;
            return false;
        }
        _offset += record->d_reclen;
        const char* name = record->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
        entry.name = name;
        entry.nameLength = std::strlen(name);
        entry.fileNumber = record->d_ino;
        entry.type = record->d_type;
        return true;
    }
}

std::string appendPathComponent(const std::string& base, const char* name, size_t nameLength) {
    std::string result;
    result.reserve(base.size() + 1 + nameLength);
    result.append(base);
    if (result.empty() || result.back() != '/') result.push_back('/');
    result.append(name, nameLength);
    return result;
}

}  // namespace Core::internal
