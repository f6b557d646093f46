#include "dff/FileReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace dff {

char FileReader::buffer[FileReader::kBlockSize];

namespace {

// A plain descriptor and positioned reads: no stream buffer to allocate and
// copy through for every step of every file.
struct Descriptor {
    explicit Descriptor(const char* path) : fd(::open(path, O_RDONLY | O_CLOEXEC)) {}
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int fd;
};

}  // namespace

bool FileReader::read(const std::function<void(const char*, long long)>& callback) {
    if (size == 0) return true;
    Descriptor file(path->cStr());
    if (file.fd < 0) throw std::runtime_error("Failed to open file");
    if (position < 0) throw std::runtime_error("Failed to set file position");
    // The first step decides most comparisons, so it costs one block only.
    int budget = position == 0 ? 1 : kBlocksPerStep;
    while (position < size && budget-- > 0) {
        size_t want = static_cast<size_t>(std::min(kBlockSize, size - position));
        ssize_t got;
        do got = ::pread(file.fd, buffer, want, static_cast<off_t>(position));
        while (got < 0 && errno == EINTR);
        if (got <= 0) throw std::runtime_error("Failed to read file");
        callback(buffer, static_cast<long long>(got));
        position += static_cast<long long>(got);
    }
    return position == size;
}

}  // namespace dff
