#include "disk/OMFolderExtractor.h"

#include "disk/internal/DirectoryReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <unordered_set>

namespace Core {

namespace {

// File numbers seen in the scan, split over shards so that listings on many
// threads don't queue on one lock; each shard's test-and-add is one step.
struct ScanContext {
    static constexpr size_t kShards = 64;
    struct Shard {
        std::mutex lock;
        std::unordered_set<uint64_t> numbers;
    };
    std::atomic<uint64_t> currentDeviceNumber{0};
    std::atomic<bool> isSetUp{false};
    // Whether the scan's volume is tmpfs: -1 until a listing has asked.
    std::atomic<int> isTmpfs{-1};
    std::array<Shard, kShards> shards;

    Shard& shardFor(uint64_t number) { return shards[(number * 0x9E3779B97F4A7C15ull) >> 58]; }
};

ScanContext& scanContext() {
    static ScanContext context;
    return context;
}

constexpr int64_t kLargeFolderEntryCount = 0x10000;
constexpr uint64_t kLargestLinkSize = 10000000;
// tmpfs grows a folder's size by this much per entry, "." and ".." included.
constexpr int64_t kTmpfsBytesPerEntry = 20;

// Whether this entry must go through the seen-set: a file with one link can
// be reached only once, so only folders and hard-linked files are recorded.
bool canBeReachedTwice(const struct stat& st) { return S_ISDIR(st.st_mode) || st.st_nlink > 1; }

bool isTakenByScan(const struct stat& st) {
    if (static_cast<uint64_t>(st.st_dev) != scanContext().currentDeviceNumber.load(std::memory_order_relaxed))
        return false;
    return !(canBeReachedTwice(st) && OMFolderExtractor::isAlreadyPresent(st.st_ino));
}

internal::ObjectType objectType(mode_t mode) {
    if (S_ISREG(mode)) return internal::ObjectType::regular;
    if (S_ISDIR(mode)) return internal::ObjectType::directory;
    if (S_ISLNK(mode)) return internal::ObjectType::symbolicLink;
    return internal::ObjectType::other;
}

// Only tmpfs tells a folder's entry count without reading the folder. Every
// folder a scan lists lies on the scan's volume, so that volume is asked once.
bool isOnTmpfs(int folderFd) {
    ScanContext& context = scanContext();
    int known = context.isSetUp.load() ? context.isTmpfs.load(std::memory_order_relaxed) : -1;
    if (known >= 0) return known == 1;
    struct statfs fsInfo {};
    bool tmpfs = ::fstatfs(folderFd, &fsInfo) == 0 && fsInfo.f_type == TMPFS_MAGIC;
    if (context.isSetUp.load()) context.isTmpfs.store(tmpfs ? 1 : 0, std::memory_order_relaxed);
    return tmpfs;
}

uint64_t allocatedSize(const struct stat& st) { return st.st_blocks > 0 ? static_cast<uint64_t>(st.st_blocks) << 9 : 0; }

}  // namespace

namespace internal {

BulkEntryClass classifyBulkEntry(ObjectType type, int64_t entryCount, uint64_t size) {
    using Kind = OMFolderElement::Kind;
    switch (type) {
        case ObjectType::regular:
            return {Kind::normalFile, size};
        case ObjectType::directory:
            // A folder this large isn't entered: it counts as one file of
            // 32 bytes an entry.
            if (entryCount >= kLargeFolderEntryCount)
                return {Kind::normalFile, static_cast<uint64_t>(entryCount & 0x7FFFFFF) * 32};
            return {Kind::folder, 0};
        case ObjectType::symbolicLink:
            return {Kind::symbolicLink, size > kLargestLinkSize ? 0 : size};
        case ObjectType::other:
            break;
    }
    return {Kind::specialFile, 0};
}

}  // namespace internal

void OMFolderExtractor::setupScanContextWithDeviceNumber(uint64_t deviceNumber) {
    ScanContext& context = scanContext();
    for (auto& shard : context.shards) {
        std::lock_guard lock(shard.lock);
        shard.numbers = {};
    }
    context.currentDeviceNumber.store(deviceNumber);
    context.isTmpfs.store(-1);
    context.isSetUp.store(true);
}

bool OMFolderExtractor::isAlreadyPresent(uint64_t fileNumber) {
    ScanContext& context = scanContext();
    if (!context.isSetUp.load()) return false;
    auto& shard = context.shardFor(fileNumber);
    std::lock_guard lock(shard.lock);
    return !shard.numbers.insert(fileNumber).second;
}

uint64_t OMFolderExtractor::currentDeviceNumber() { return scanContext().currentDeviceNumber.load(); }

void OMFolderExtractor::extractFolderUsingAttrListMethodWith(const std::string& path,
                                                             const ElementsFound& foldersFound,
                                                             const ElementsFound& filesFound,
                                                             const Completion& completion) {
    int fd = path.empty() ? -1 : ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        if (completion) completion();
        return;
    }
    bool countsAreCheap = isOnTmpfs(fd);

    std::vector<OMFolderElement> folders;
    std::vector<OMFolderElement> files;
    internal::DirectoryReader reader(fd);
    internal::DirectoryReader::Entry entry;
    struct stat st {};
    while (reader.next(entry)) {
        if (entry.nameLength == 0) continue;
        if (::fstatat(fd, entry.name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (!isTakenByScan(st)) continue;
        int64_t entryCount = -1;
        if (countsAreCheap && S_ISDIR(st.st_mode)) entryCount = st.st_size / kTmpfsBytesPerEntry - 2;
        auto kind = internal::classifyBulkEntry(objectType(st.st_mode), entryCount, allocatedSize(st));
        auto& target = kind.kind == OMFolderElement::Kind::folder ? folders : files;
        target.emplace_back(kind.kind, internal::appendPathComponent(path, entry.name, entry.nameLength), kind.size);
    }
    if (foldersFound) foldersFound(std::move(folders));
    if (filesFound) filesFound(std::move(files));
    if (completion) completion();
    ::close(fd);
}

void OMFolderExtractor::extractFolderWith(const std::string& path, const ElementsFound& foldersFound,
                                          const ElementsFound& filesFound, const Completion& completion) {
    DIR* dir = path.empty() ? nullptr : ::opendir(path.c_str());
    if (dir == nullptr) {
        if (completion) completion();
        return;
    }
    using Kind = OMFolderElement::Kind;
    std::vector<OMFolderElement> folders;
    std::vector<OMFolderElement> files;
    int fd = ::dirfd(dir);
    struct stat st {};
    while (const dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        if (::fstatat(fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (!isTakenByScan(st)) continue;
        unsigned char type = entry->d_type;
        if (type == DT_UNKNOWN) type = static_cast<unsigned char>(IFTODT(st.st_mode));
        std::string childPath = internal::appendPathComponent(path, name, std::strlen(name));
        if (type == DT_DIR) {
            folders.emplace_back(Kind::folder, std::move(childPath), 0);
            continue;
        }
        Kind kind = type == DT_LNK ? Kind::symbolicLink : type == DT_REG ? Kind::normalFile : Kind::specialFile;
        uint64_t size = 0;
        if ((type == DT_REG || type == DT_LNK) && st.st_blocks >= 1 && st.st_size >= 1) size = allocatedSize(st);
        files.emplace_back(kind, std::move(childPath), size);
    }
    if (foldersFound) foldersFound(std::move(folders));
    if (filesFound) filesFound(std::move(files));
    ::closedir(dir);
    if (completion) completion();
}

namespace {

constexpr int64_t kSkippedFolderSize = 0x1FFFE0;  // 65535 entries at 32 bytes
constexpr nlink_t kLargestLinkCount = 65535;

bool stopRequested(const std::atomic<bool>* stopFlag) {
    return stopFlag != nullptr && stopFlag->load(std::memory_order_relaxed);
}

}  // namespace

int64_t GetDirectorySize(const char* path, const std::atomic<bool>* stopFlag, int32_t* errorOut) {
    auto noteError = [errorOut](int error) {
        if (errorOut != nullptr && error != 0) *errorOut = error;
    };
    struct stat st {};
    if (path == nullptr || path[0] == '\0') {
        noteError(ENOENT);
        return 0;
    }
    if (::lstat(path, &st) != 0) {
        noteError(errno);
        return 0;
    }
    if (S_ISREG(st.st_mode)) return static_cast<int64_t>(allocatedSize(st));
    if (!S_ISDIR(st.st_mode)) return 0;
    if (st.st_nlink == kLargestLinkCount) return kSkippedFolderSize;

    // Folders still to read. One descriptor is open at a time, so depth
    // can't run out of descriptors; files are stat'ed relative to it.
    int64_t total = 0;
    std::vector<std::string> pending{path};
    while (!pending.empty() && !stopRequested(stopFlag)) {
        std::string folder = std::move(pending.back());
        pending.pop_back();
        int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0) {
            noteError(errno);
            continue;
        }
        internal::DirectoryReader reader(fd);
        internal::DirectoryReader::Entry entry;
        while (reader.next(entry)) {
            if (stopRequested(stopFlag)) break;
            if (entry.type != DT_UNKNOWN && entry.type != DT_REG && entry.type != DT_DIR) continue;
            if (::fstatat(fd, entry.name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
                noteError(errno);
                continue;
            }
            if (S_ISREG(st.st_mode)) {
                total += static_cast<int64_t>(allocatedSize(st));
            } else if (S_ISDIR(st.st_mode)) {
                if (st.st_nlink == kLargestLinkCount)
                    total += kSkippedFolderSize;
                else
                    pending.push_back(internal::appendPathComponent(folder, entry.name, entry.nameLength));
            }
        }
        noteError(reader.error());
        ::close(fd);
    }
    return total;
}

}  // namespace Core
