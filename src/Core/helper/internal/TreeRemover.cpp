#include "Core/helper/internal/TreeRemover.h"

#include "disk/internal/DirectoryReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <random>
#include <vector>

namespace Core::internal {

namespace {

// One pass of random bytes over the file's contents, flushed to the disk.
bool overwrite(int dirFd, const char* name, const struct stat& st) {
    if (!S_ISREG(st.st_mode) || st.st_nlink > 1 || st.st_size == 0) return true;
    // O_NONBLOCK and the check of what was opened: an entry swapped for a
    // FIFO or another file since it was looked at is left alone.
    int fd = ::openat(dirFd, name, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat opened {};
    if (::fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode) || opened.st_ino != st.st_ino ||
        opened.st_dev != st.st_dev || opened.st_nlink > 1) {
        ::close(fd);
        return false;
    }
    std::mt19937_64 random{std::random_device{}()};
    std::vector<uint64_t> block(8192);
    off_t left = st.st_size;
    bool ok = true;
    while (ok && left > 0) {
        for (auto& word : block) word = random();
        size_t chunk = static_cast<size_t>(std::min<off_t>(left, static_cast<off_t>(block.size() * 8)));
        ssize_t written = ::write(fd, block.data(), chunk);
        if (written < 0 && errno == EINTR) continue;
        ok = written > 0;
        if (ok) left -= written;
    }
    ok = ::fsync(fd) == 0 && ok;
    ::close(fd);
    return ok;
}

bool removeEntry(int dirFd, const char* name, bool shred, const std::function<bool()>& proceed, dev_t device);

bool removeContents(int fd, bool shred, const std::function<bool()>& proceed, dev_t device) {
    // Names are taken first: removing entries while the folder is being
    // read can make the kernel skip some.
    std::vector<std::string> names;
    {
        DirectoryReader reader(fd);
        DirectoryReader::Entry entry;
        while (reader.next(entry)) names.emplace_back(entry.name, entry.nameLength);
        if (reader.error() != 0) return false;
    }
    bool ok = true;
    for (const auto& name : names) {
        if (!proceed()) return false;
        ok = removeEntry(fd, name.c_str(), shred, proceed, device) && ok;
    }
    return ok;
}

bool removeEntry(int dirFd, const char* name, bool shred, const std::function<bool()>& proceed, dev_t device) {
    struct stat st {};
    if (::fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
    // What another file system mounted inside holds is not part of the tree.
    if (st.st_dev != device) return false;
    if (S_ISDIR(st.st_mode)) {
        int child = ::openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (child < 0) return false;
        bool ok = removeContents(child, shred, proceed, device);
        ::close(child);
        return ok && ::unlinkat(dirFd, name, AT_REMOVEDIR) == 0;
    }
    bool ok = !shred || overwrite(dirFd, name, st);
    return ::unlinkat(dirFd, name, 0) == 0 && ok;
}

}  // namespace

namespace {

// The names from "/" down to `path`; nothing for a path isRemovablePath
// refuses.
std::optional<std::vector<std::string>> partsOf(const std::string& path) {
    if (path.empty() || path.front() != '/') return std::nullopt;
    std::vector<std::string> parts;
    for (const auto& part : std::filesystem::path(path).relative_path()) {
        if (part == "." || part == "..") return std::nullopt;
        if (!part.empty()) parts.push_back(part.string());
    }
    if (parts.empty()) return std::nullopt;
    return parts;
}

}  // namespace

bool isRemovablePath(const std::string& path) { return partsOf(path).has_value(); }

bool removeTree(const std::string& path, bool shred, const std::function<bool()>& proceed) {
    auto found = partsOf(path);
    if (!found) return false;
    const auto& parts = *found;
    // From "/" one folder at a time, each opened relative to the one before
    // and never through a link: a link swapped in anywhere on the path ends
    // the walk instead of taking it elsewhere.
    int dirFd = ::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    for (size_t i = 0; dirFd >= 0 && i + 1 < parts.size(); ++i) {
        int next = ::openat(dirFd, parts[i].c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        ::close(dirFd);
        dirFd = next;
    }
    if (dirFd < 0) return false;
    struct stat st {};
    bool ok = ::fstatat(dirFd, parts.back().c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
              removeEntry(dirFd, parts.back().c_str(), shred, proceed, st.st_dev);
    ::close(dirFd);
    return ok;
}

}  // namespace Core::internal
