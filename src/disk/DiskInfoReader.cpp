#include "disk/DiskInfoReader.h"

#include "platform/Layout.h"

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

namespace Core {

namespace {

constexpr const char* kMountTable = "/proc/self/mounts";
constexpr const char* kClassBlock = "/sys/class/block";
// As many parents as the device tree is searched for a disk's flag.
constexpr int kMaxLevels = 11;

// The mount points of the table, in its order.
std::vector<std::string> mountPoints(const std::string& mountTable) {
    std::vector<std::string> points;
    std::ifstream in(mountTable);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string device, mountPoint;
        if (fields >> device >> mountPoint) points.push_back(internal::decodeMountField(mountPoint));
    }
    return points;
}

std::string lastComponent(const std::string& path) {
    auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::optional<std::string> readFirstLine(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    if (!in || !std::getline(in, line)) return std::nullopt;
    return line;
}

std::optional<std::string> realPath(const std::string& path) {
    char* resolved = ::realpath(path.c_str(), nullptr);
    if (!resolved) return std::nullopt;
    std::string result(resolved);
    std::free(resolved);
    return result;
}

}  // namespace

namespace internal {

std::string decodeMountField(const std::string& field) {
    std::string out;
    out.reserve(field.size());
    for (size_t i = 0; i < field.size(); ++i) {
        bool escape = field[i] == '\\' && i + 3 < field.size() &&
                      field.find_first_not_of("01234567", i + 1) >= i + 4;
        if (escape) {
            out += static_cast<char>(std::stoi(field.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            out += field[i];
        }
    }
    return out;
}

std::map<std::string, uint64_t> mountedVolumesFrom(const std::string& mountTable) {
    std::map<std::string, uint64_t> volumes;
    for (const auto& point : mountPoints(mountTable)) {
        struct statfs st {};
        volumes[point] = ::statfs(point.c_str(), &st) == 0 ? static_cast<uint64_t>(st.f_blocks) : 0;
    }
    return volumes;
}

bool isSolidStateIn(const std::string& classBlock, const std::string& name) {
    std::string device = lastComponent(name);
    if (device.empty() || device == "." || device == "..") return false;
    auto resolved = realPath(classBlock + "/" + device);
    if (!resolved) return false;
    std::string level = *resolved;
    for (int i = 0; i < kMaxLevels && level.size() > 1; ++i) {
        if (auto flag = readFirstLine(level + "/queue/rotational")) return *flag == "0";
        level = level.substr(0, level.find_last_of('/'));
    }
    return false;
}

}  // namespace internal

DiskInfoReader& DiskInfoReader::shared() {
    static DiskInfoReader reader;
    return reader;
}

std::optional<DiskInfo> DiskInfoReader::read() const {
    auto info = GetDiskInfo();
    if (!info) return info;
    // Another mount of the root's file system (a bind mount, a subvolume)
    // may know of more room than the root's own figure.
    struct stat rootStat {};
    if (::stat(platform::Layout::shared().root().c_str(), &rootStat) != 0) return info;
    auto points = mountPoints(kMountTable);
    for (auto it = points.rbegin(); it != points.rend(); ++it) {
        struct stat st {};
        if (::stat(it->c_str(), &st) != 0 || st.st_dev != rootStat.st_dev) continue;
        struct statvfs vfs {};
        if (::statvfs(it->c_str(), &vfs) == 0) {
            int64_t free = static_cast<int64_t>(vfs.f_bavail) * static_cast<int64_t>(vfs.f_frsize);
            if (free > info->freeSize) info->freeSize = free;
        }
        break;
    }
    return info;
}

bool DiskInfoReader::isSSD() const {
    struct stat st {};
    if (::stat(platform::Layout::shared().root().c_str(), &st) != 0) return false;
    auto device = realPath("/sys/dev/block/" + std::to_string(major(st.st_dev)) + ":" +
                           std::to_string(minor(st.st_dev)));
    if (!device) return false;
    return isSolidState(lastComponent(*device));
}

std::map<std::string, uint64_t> getMountedVolumesInfo() { return internal::mountedVolumesFrom(kMountTable); }

bool isSolidState(const std::string& name) { return internal::isSolidStateIn(kClassBlock, name); }

}  // namespace Core
