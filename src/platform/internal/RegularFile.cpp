#include "platform/internal/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform::internal {

std::optional<std::string> readRegularFile(const std::string& path, size_t maxSize) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return std::nullopt;
    std::optional<std::string> bytes;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && static_cast<size_t>(st.st_size) <= maxSize) {
        bytes.emplace();
        char buffer[65536];
        for (;;) {
            ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n > 0) {
                bytes->append(buffer, static_cast<size_t>(n));
                if (bytes->size() > maxSize) {
                    bytes.reset();
                    break;
                }
            } else if (n == 0) {
                break;
            } else if (errno != EINTR) {
                bytes.reset();
                break;
            }
        }
    }
    ::close(fd);
    return bytes;
}

}  // namespace platform::internal
