#include "platform/Trash.h"

#include "platform/Layout.h"
#include "platform/Strings.h"
#include "platform/URL.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <string_view>

namespace platform {

namespace {

int makeFolder(const std::string& path) {
    if (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return 0;
    if (errno != ENOENT) return errno;
    auto slash = path.find_last_of('/');
    if (slash == std::string::npos || slash == 0) return ENOENT;
    if (int error = makeFolder(path.substr(0, slash)); error != 0) return error;
    return ::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST ? 0 : errno;
}

// The absolute form of `path` by its text alone: links are not resolved,
// "." components and repeated slashes are dropped.
std::string absolutePath(const std::string& path) {
    std::string full = path;
    if (full.empty() || full[0] != '/') {
        char buffer[4096];
        if (::getcwd(buffer, sizeof buffer) == nullptr) return path;
        full = joinPath(buffer, path);
    }
    std::string out;
    for (std::string_view part : splitNonEmpty(full, '/'))
        if (part != ".") out.append("/").append(part);
    return out.empty() ? "/" : out;
}

std::string baseName(const std::string& path) {
    std::string trimmed = trimTrailingSlashes(path);
    auto slash = trimmed.find_last_of('/');
    return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}

std::string localDate() {
    std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::localtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    return text;
}

bool writeAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t count = ::write(fd, text.data() + done, text.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

}  // namespace

int moveToTrash(const std::string& path, std::string* trashedPath) {
    struct stat st {};
    if (path.empty()) return ENOENT;
    if (::lstat(path.c_str(), &st) != 0) return errno;
    std::string name = baseName(path);
    if (name.empty() || name == "." || name == "..") return EINVAL;

    std::string trash = Layout::shared().trashDirectory();
    std::string files = trash + "/files", info = trash + "/info";
    if (int error = makeFolder(files); error != 0) return error;
    if (int error = makeFolder(info); error != 0) return error;

    std::string content = "[Trash Info]\nPath=" + percentEncodePath(absolutePath(path)) +
                          "\nDeletionDate=" + localDate() + "\n";
    for (int attempt = 1; attempt < 10000; ++attempt) {
        std::string candidate = attempt == 1 ? name : name + " " + std::to_string(attempt);
        std::string infoPath = info + "/" + candidate + ".trashinfo";
        std::string target = files + "/" + candidate;
        // The info file is the reservation of the name.
        int fd = ::open(infoPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            return errno;
        }
        struct stat existing {};
        if (::lstat(target.c_str(), &existing) == 0) {
            ::close(fd);
            ::unlink(infoPath.c_str());
            continue;
        }
        bool written = writeAll(fd, content);
        int error = written ? 0 : errno;
        if (::close(fd) != 0 && error == 0) error = errno;
        // A plain rename would replace a file that appeared since the
        // check; RENAME_NOREPLACE rules that out.
        if (error == 0 && ::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0) {
            error = errno;
            // File systems without the flag: the check above has to do.
            if (error == EINVAL && ::rename(path.c_str(), target.c_str()) == 0) error = 0;
            else if (error == EINVAL) error = errno;
        }
        if (error == EEXIST) {
            ::unlink(infoPath.c_str());
            continue;
        }
        if (error != 0) {
            ::unlink(infoPath.c_str());
            return error;
        }
        if (trashedPath) *trashedPath = target;
        return 0;
    }
    return EEXIST;
}

}  // namespace platform
