#pragma once
// FileOperations: the file timestamps the scanners sort and filter by, with
// a process-wide cache, the raw `stat` record, and the test for special
// files (FIFOs, devices, sockets) that scanners leave alone.
//
// Threading: every function may be called from any thread. The date cache
// sits behind one serial queue ("FileOperations.DateCacheSQueue"); it is
// never cleared, so a date once read is the date for the life of the
// process, even if the file changes later. The absence of a date is
// remembered too.
//
//   auto created = Core::FileOperations::getCreationDateOf("/Users/a/Notes.txt");
//   if (created) show(*created);
//   if (Core::FileOperations::isSpecialFileType(path)) skip(path);

#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace Core::FileOperations {

// A point in time with nanosecond resolution, counted from 1970.
using Date = std::chrono::sys_time<std::chrono::nanoseconds>;

enum class DateType { lastOpen, creation, lastModification, lastChange };

struct CachedDateKey {
    std::string path;
    DateType dateType;
    friend bool operator==(const CachedDateKey&, const CachedDateKey&) = default;
};

// lstat of `path`; nothing when the call fails (missing, unreadable parent).
std::optional<struct stat> getStatWith(const std::string& path);

// Birth time, from statx; nothing when the file system keeps none.
std::optional<Date> getCreationDateOf(const std::string& path);
std::optional<Date> getLastOpenDateOf(const std::string& path);
std::optional<Date> getLastChangeDateOf(const std::string& path);
std::optional<Date> getLastModificationDateOf(const std::string& path);

// FIFO, device or socket, or a path whose information can't be read (so
// that callers leave it alone).
bool isSpecialFileType(const std::string& path);

}  // namespace Core::FileOperations

template <>
struct std::hash<Core::FileOperations::CachedDateKey> {
    size_t operator()(const Core::FileOperations::CachedDateKey& key) const noexcept {
        return std::hash<std::string>{}(key.path) * 31 + static_cast<size_t>(key.dateType);
    }
};
