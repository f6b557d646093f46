#include "Core/helper/internal/TreeRemover.h"

#include "disk/internal/DirectoryReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

bool removeEntry(int dirFd, const char* name, bool shred, const std::function<bool()>& proceed);

bool removeContents(int fd, bool shred, const std::function<bool()>& proceed) {
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
        ok = removeEntry(fd, name.c_str(), shred, proceed) && ok;
    }
    return ok;
}

bool removeEntry(int dirFd, const char* name, bool shred, const std::function<bool()>& proceed) {
    struct stat st {};
    if (::fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
    if (S_ISDIR(st.st_mode)) {
        int child = ::openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (child < 0) return false;
        bool ok = removeContents(child, shred, proceed);
        ::close(child);
        return ok && ::unlinkat(dirFd, name, AT_REMOVEDIR) == 0;
    }
    bool ok = !shred || overwrite(dirFd, name, st);
    return ::unlinkat(dirFd, name, 0) == 0 && ok;
}

}  // namespace

bool removeTree(const std::string& path, bool shred, const std::function<bool()>& proceed) {
    struct stat st {};
    if (path.empty() || ::lstat(path.c_str(), &st) != 0) return false;
    return removeEntry(AT_FDCWD, path.c_str(), shred, proceed);
}

}  // namespace Core::internal
