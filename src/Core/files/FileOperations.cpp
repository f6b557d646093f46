#include "Core/files/FileOperations.h"

#include "disk/OMFolderElement.h"
#include "platform/Dispatch.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <unordered_map>

namespace Core::FileOperations {
namespace {

using DateCache = std::unordered_map<CachedDateKey, std::optional<Date>>;

struct DateCacheState {
    platform::dispatch::QueuePtr queue =
        platform::dispatch::makeSerialQueue("FileOperations.DateCacheSQueue", platform::dispatch::QoS::userInteractive);
    DateCache cache;  // guarded by queue
};

DateCacheState& dateCache() {
    static auto* state = new DateCacheState;  // lives as long as the process, like the cache
    return *state;
}

Date makeDate(int64_t seconds, int64_t nanoseconds) {
    return Date(std::chrono::seconds(seconds) + std::chrono::nanoseconds(nanoseconds));
}

std::optional<Date> readDate(const std::string& path, DateType type) {
    if (type == DateType::creation) {
        struct statx sx {};
        if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &sx) != 0) return std::nullopt;
        if ((sx.stx_mask & STATX_BTIME) == 0) return std::nullopt;
        return makeDate(sx.stx_btime.tv_sec, sx.stx_btime.tv_nsec);
    }
    auto st = getStatWith(path);
    if (!st) return std::nullopt;
    switch (type) {
        case DateType::lastOpen: return makeDate(st->st_atim.tv_sec, st->st_atim.tv_nsec);
        case DateType::lastModification: return makeDate(st->st_mtim.tv_sec, st->st_mtim.tv_nsec);
        case DateType::lastChange: return makeDate(st->st_ctim.tv_sec, st->st_ctim.tv_nsec);
        case DateType::creation: break;
    }
    return std::nullopt;
}

std::optional<Date> cachedDate(const std::string& path, DateType type) {
    CachedDateKey key{path, type};
    auto& state = dateCache();
    std::optional<std::optional<Date>> hit;
    state.queue->sync([&] {
        auto it = state.cache.find(key);
        if (it != state.cache.end()) hit = it->second;
    });
    if (hit) return *hit;
    std::optional<Date> date = readDate(path, type);
    // Posting the one entry rather than a whole copied map: no writer can
    // lose another's entry, and a read after this on the queue sees it.
    state.queue->async([&state, key = std::move(key), date] { state.cache.insert_or_assign(key, date); });
    return date;
}

}  // namespace

std::optional<struct stat> getStatWith(const std::string& path) {
    struct stat st {};
    if (getFileInfo(path.c_str(), &st) != 0) return std::nullopt;
    return st;
}

std::optional<Date> getCreationDateOf(const std::string& path) { return cachedDate(path, DateType::creation); }
std::optional<Date> getLastOpenDateOf(const std::string& path) { return cachedDate(path, DateType::lastOpen); }
std::optional<Date> getLastChangeDateOf(const std::string& path) { return cachedDate(path, DateType::lastChange); }
std::optional<Date> getLastModificationDateOf(const std::string& path) {
    return cachedDate(path, DateType::lastModification);
}

bool isSpecialFileType(const std::string& path) {
    struct stat st {};
    if (getFileInfo(path.c_str(), &st) != 0) return true;
    return isSpecialFile(st.st_mode);
}

}  // namespace Core::FileOperations
