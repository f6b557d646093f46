#include "platform/internal/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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
    // Read straight into the result; room for one byte more than the size
    // says, so that the read that finds the end (or growth) needs no copy.
    std::string bytes(static_cast<size_t>(st.st_size) + 1, '\0');
    size_t got = 0;
    for (;;) {
        if (got == bytes.size()) {
            if (bytes.size() > maxSize) return std::nullopt;
            bytes.resize(std::min(maxSize + 1, bytes.size() * 2));
        }
        ssize_t n = ::pread(descriptor, bytes.data() + got, bytes.size() - got, static_cast<off_t>(got));
        if (n > 0) {
            got += static_cast<size_t>(n);
        } else if (n == 0) {
            bytes.resize(got);
            return bytes;
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
}

}  // namespace platform::internal
