#pragma once
// DiskInfo and GetDiskInfo(): the size and the free space of the volume that
// holds the layout's root ("/", or the folder a host or test re-rooted to).
// The disk-space scanners and the system monitor read the same figures, so
// there is one record and one reader for both.
//
// Threading: any thread.
//
//   if (auto disk = Core::GetDiskInfo()) show(disk->totalSize, disk->freeSize);

#include <cstdint>
#include <optional>

namespace Core {

struct DiskInfo {
    int64_t totalSize = 0;  // bytes
    int64_t freeSize = 0;   // bytes available to an ordinary user
};

// statvfs of the layout's root: totalSize = f_blocks x f_frsize, freeSize =
// f_bavail x f_frsize. Nothing when the call fails.
std::optional<DiskInfo> GetDiskInfo();

}  // namespace Core
