#include "platform/MetadataIndex.h"

#include "platform/FileTypes.h"
#include "platform/Layout.h"
#include "platform/internal/Installed.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <typeinfo>

namespace platform {

namespace {

constexpr off_t kTrailerSize = 512;
constexpr char kTrailerMagic[] = "koly";

std::string childPath(const std::string& folder, const char* name) {
    return folder == "/" ? "/" + std::string(name) : folder + "/" + name;
}

struct Entry {
    int folderFd;               // the open folder that holds the entry
    const char* name;           // its name in that folder
    const std::string& folder;  // that folder's path
    bool isFolder;
    bool isRegular;
    // Made on demand: most entries of a walk never need theirs.
    std::string path() const { return childPath(folder, name); }
};

// What the visitor wants done with a folder it was shown.
enum class Visit { enter, skip };

// Walks the folder at `path` depth first without following links, asking
// the file type from the listing and stat'ing only where it doesn't say.
// Folders that can't be opened are passed over.
void walk(int parentFd, const std::string& openName, const std::string& path,
          const std::function<Visit(const Entry&)>& visit) {
    int fd = ::openat(parentFd, openName.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return;
    DIR* dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return;
    }
    std::vector<std::string> folders;
    while (dirent* d = ::readdir(dir)) {
        if (std::strcmp(d->d_name, ".") == 0 || std::strcmp(d->d_name, "..") == 0) continue;
        unsigned char type = d->d_type;
        if (type == DT_UNKNOWN) {
            struct stat st {};
            if (::fstatat(fd, d->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
            type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISREG(st.st_mode) ? DT_REG : DT_UNKNOWN;
        }
        Entry entry{fd, d->d_name, path, type == DT_DIR, type == DT_REG};
        if (visit(entry) == Visit::enter && entry.isFolder) folders.push_back(d->d_name);
    }
    for (const auto& name : folders) walk(fd, name, childPath(path, name.c_str()), visit);
    ::closedir(dir);
}

void walk(const std::string& top, const std::function<Visit(const Entry&)>& visit) {
    walk(AT_FDCWD, top, trimTrailingSlashes(top), visit);
}

std::string extensionOf(const char* name) {
    const char* dot = std::strrchr(name, '.');
    return dot && dot != name ? std::string(dot + 1) : std::string();
}

// The allocated size of the regular files below `path`; nested packages
// met on the way are recorded with their own sums.
int64_t packageSize(const std::string& path, std::vector<MetadataItem>& found) {
    int64_t total = 0;
    walk(path, [&](const Entry& entry) {
        if (entry.isRegular) {
            struct stat st {};
            if (::fstatat(entry.folderFd, entry.name, &st, AT_SYMLINK_NOFOLLOW) == 0)
                total += static_cast<int64_t>(st.st_blocks) * 512;
            return Visit::skip;
        }
        if (entry.isFolder && isPackageExtension(extensionOf(entry.name))) {
            int64_t inner = packageSize(entry.path(), found);
            if (inner >= 1) found.push_back({entry.path(), inner});
            total += inner;
            return Visit::skip;
        }
        return Visit::enter;
    });
    return total;
}

// Every regular file below the home, with its stat record, leaving out the
// layout's root when it lies inside the home.
void forEachHomeFile(const std::function<void(const Entry&, const struct stat&)>& body) {
    const Layout& layout = Layout::shared();
    const std::string root = trimTrailingSlashes(layout.root());
    walk(layout.home(), [&](const Entry& entry) {
        if (entry.isFolder) return entry.path() == root ? Visit::skip : Visit::enter;
        if (!entry.isRegular) return Visit::skip;
        struct stat st {};
        if (::fstatat(entry.folderFd, entry.name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(st.st_mode))
            body(entry, st);
        return Visit::skip;
    });
}

bool hasDiskImageTrailer(const Entry& entry, const struct stat& st) {
    if (st.st_size < kTrailerSize) return false;
    int fd = ::openat(entry.folderFd, entry.name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return false;
    char magic[4] = {};
    bool hit = ::pread(fd, magic, sizeof magic, st.st_size - kTrailerSize) == sizeof magic &&
               std::memcmp(magic, kTrailerMagic, sizeof magic) == 0;
    ::close(fd);
    return hit;
}

internal::Installed<MetadataIndex>& installedIndex() {
    static internal::Installed<MetadataIndex> index;
    return index;
}

}  // namespace

MetadataAnswer MetadataIndex::packages(const std::string& scope) const {
    std::vector<MetadataItem> found;
    walk(scope, [&](const Entry& entry) {
        if (!entry.isFolder) return Visit::skip;
        if (!isPackageExtension(extensionOf(entry.name))) return Visit::enter;
        std::string path = entry.path();
        int64_t size = packageSize(path, found);
        if (size >= 1) found.push_back({path, size});
        return Visit::skip;
    });
    return found;
}

MetadataAnswer MetadataIndex::filesOfAtLeast(int64_t minSize) const {
    std::vector<MetadataItem> found;
    forEachHomeFile([&](const Entry& entry, const struct stat& st) {
        if (st.st_size >= minSize) found.push_back({entry.path(), static_cast<int64_t>(st.st_size)});
    });
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.size > b.size; });
    return found;
}

MetadataAnswer MetadataIndex::diskImages() const {
    std::vector<MetadataItem> found;
    forEachHomeFile([&](const Entry& entry, const struct stat& st) {
        if (hasDiskImageTrailer(entry, st)) found.push_back({entry.path(), static_cast<int64_t>(st.st_size)});
    });
    return found;
}

std::optional<int64_t> MetadataIndex::itemSize(const std::string& path) const {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return std::nullopt;
    if (S_ISREG(st.st_mode)) return static_cast<int64_t>(st.st_blocks) * 512;
    const std::string trimmed = trimTrailingSlashes(path);
    const std::string name = trimmed.substr(trimmed.find_last_of('/') + 1);
    if (!S_ISDIR(st.st_mode) || !isPackageExtension(extensionOf(name.c_str()))) return std::nullopt;
    std::vector<MetadataItem> nested;
    return packageSize(trimmed, nested);
}

bool MetadataIndex::walksScopeForPackages() const { return typeid(*this) == typeid(MetadataIndex); }

std::shared_ptr<MetadataIndex> MetadataIndex::shared() { return installedIndex().get(); }
void MetadataIndex::setShared(std::shared_ptr<MetadataIndex> index) { installedIndex().set(std::move(index)); }

}  // namespace platform
