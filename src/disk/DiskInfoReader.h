#pragma once
// DiskInfoReader: the start-up volume's figures for the host's displays:
// its size and free space (read()), and whether its disk is solid state
// (isSSD()). One shared object for the process. The free functions beside
// it list the mounted volumes and tell solid-state disks by name.
//
// On Linux the start-up volume is the one that holds the layout's root, and
// a disk's kind comes from the block layer's "queue/rotational" flag in
// sysfs ("0": solid state), looked up on the device itself and then on each
// parent up to the whole disk, so that a partition answers for its disk.
//
// Threading: every call may be made from any thread; each reads the system
// anew.
//
//   if (auto info = Core::DiskInfoReader::shared().read()) show(info->freeSize);
//   bool ssd = Core::DiskInfoReader::shared().isSSD();
//   auto mounts = Core::getMountedVolumesInfo();   // {"/": 65536000, ...}

#include "disk/DiskInfo.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace Core {

class DiskInfoReader {
public:
    static DiskInfoReader& shared();

    // GetDiskInfo(), with the free space raised (never lowered) to what the
    // last mounted file system on the root's device reports as available.
    // Nothing when the root can't be read.
    std::optional<DiskInfo> read() const;
    // isSolidState() for the block device that holds the layout's root;
    // false when there is none (a virtual or network file system).
    bool isSSD() const;
};

// Every entry of the mount table ("/proc/self/mounts"): its mount point,
// with the table's octal escapes decoded ("\040" is a space), to the
// f_blocks of its statfs (0 when statfs fails). Empty when the table can't
// be read.
std::map<std::string, uint64_t> getMountedVolumesInfo();

// True when the block device `name` ("sda1", "nvme0n1p2", "/dev/vda") or,
// failing that, one of its parents up to the whole disk reports no
// rotation. An unknown name gives false.
bool isSolidState(const std::string& name);

namespace internal {

// getMountedVolumesInfo() over the mount table in `mountTable`.
std::map<std::string, uint64_t> mountedVolumesFrom(const std::string& mountTable);
// Undoes the mount table's octal escapes ("\040" -> " ").
std::string decodeMountField(const std::string& field);
// isSolidState() with "/sys/class/block" at `classBlock`.
bool isSolidStateIn(const std::string& classBlock, const std::string& name);

}  // namespace internal

}  // namespace Core
