// Reads arbitrary bytes as a helper tool: the ELF section walk that finds
// the embedded information list, and that list's version. The bytes go
// through an anonymous in-memory file, since the reader takes a path.
#include "Core/helper/internal/ToolInfo.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = ::memfd_create("tool", MFD_CLOEXEC);
    if (fd < 0) return 0;
    if (::write(fd, data, size) == static_cast<ssize_t>(size)) {
        const std::string path = "/proc/self/fd/" + std::to_string(fd);
        Core::internal::readEmbeddedInfoPlist(path);
        Core::internal::readToolBundleVersion(path);
    }
    ::close(fd);
    return 0;
}
