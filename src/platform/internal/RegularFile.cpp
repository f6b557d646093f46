#include "platform/internal/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform::internal {

std::optional<std::string> readRegularFile(const std::string& path, size_t maxSize) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return std::nullopt;
    std::optional<std::string> bytes = readRegularFile(fd, maxSize);
    ::close(fd);
    return bytes;
}

std::optional<std::string> readRegularFile(int descriptor, size_t maxSize) {
    struct stat st {};
    if (::fstat(descriptor, &st) != 0 || !S_ISREG(st.st_mode) || static_cast<size_t>(st.st_size) > maxSize)
        return std::nullopt;
    std::string bytes;
    // One read more than the size says, to see the end (or growth).
    bytes.reserve(static_cast<size_t>(st.st_size) + 1);
    char buffer[65536];
    for (;;) {
        ssize_t n = ::pread(descriptor, buffer, sizeof buffer, static_cast<off_t>(bytes.size()));
        if (n > 0) {
            bytes.append(buffer, static_cast<size_t>(n));
            if (bytes.size() > maxSize) return std::nullopt;
        } else if (n == 0) {
            return bytes;
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
}

}  // namespace platform::internal
