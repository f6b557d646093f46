#include "disk/DiskInfo.h"

#include "platform/Layout.h"

#include <sys/statvfs.h>

namespace Core {

std::optional<DiskInfo> GetDiskInfo() {
    struct statvfs st {};
    const std::string root = platform::Layout::shared().root();
    if (::statvfs(root.c_str(), &st) != 0) return std::nullopt;
    DiskInfo info;
    info.totalSize = static_cast<int64_t>(st.f_blocks) * static_cast<int64_t>(st.f_frsize);
    info.freeSize = static_cast<int64_t>(st.f_bavail) * static_cast<int64_t>(st.f_frsize);
    return info;
}

}  // namespace Core
