#include "Core/files/PlistContent.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace Core {
namespace {

// The bytes of a regular file; nothing for folders and unreadable paths.
std::optional<std::string> readRegularFile(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::optional<std::string> bytes;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) {
        bytes.emplace();
        char buffer[65536];
        for (;;) {
            ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n > 0) {
                bytes->append(buffer, static_cast<size_t>(n));
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

}  // namespace

std::optional<std::map<std::string, platform::PlistValue>> readPlistContent(const std::string& path) {
    auto bytes = readRegularFile(path);
    if (!bytes) return std::nullopt;
    auto root = platform::parsePropertyList(*bytes);
    if (!root) return std::nullopt;
    const auto* dictionary = root->dictionary();
    if (dictionary == nullptr) return std::nullopt;
    std::map<std::string, platform::PlistValue> content;
    for (const auto& [key, value] : *dictionary) content.emplace(key, value);
    return content;
}

}  // namespace Core
