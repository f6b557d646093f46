#include "Core/helper/internal/ClientCheck.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace Core::internal {

namespace {

bool isRootsAlone(const struct stat& st) { return st.st_uid == 0 && (st.st_mode & (S_IWGRP | S_IWOTH)) == 0; }

std::optional<FileIdentity> trustedExecutable(const std::string& path) {
    std::filesystem::path named(path);
    if (!named.is_absolute() || named.lexically_normal() != named) return std::nullopt;
    struct stat st {};
    for (auto folder = named.parent_path();; folder = folder.parent_path()) {
        if (::lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || !isRootsAlone(st)) return std::nullopt;
        if (folder == folder.root_path()) break;
    }
    int fd = ::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && isRootsAlone(st);
    ::close(fd);
    if (!ok) return std::nullopt;
    return FileIdentity{st.st_dev, st.st_ino};
}

}  // namespace

std::vector<FileIdentity> trustedExecutables(const std::vector<std::string>& paths) {
    std::vector<FileIdentity> trusted;
    for (const auto& path : paths)
        if (auto identity = trustedExecutable(path)) trusted.push_back(*identity);
    return trusted;
}

std::optional<FileIdentity> executableOf(pid_t pid) {
    if (pid <= 0) return std::nullopt;
    // The link is opened, not read: its text can name a file that has since
    // been replaced, while the open gives the file the process runs.
    std::string link = "/proc/" + std::to_string(pid) + "/exe";
    int fd = ::open(link.c_str(), O_PATH | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    struct stat st {};
    bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    ::close(fd);
    if (!ok) return std::nullopt;
    return FileIdentity{st.st_dev, st.st_ino};
}

bool runsOneOf(pid_t pid, const std::vector<FileIdentity>& trusted) {
    auto identity = executableOf(pid);
    return identity && std::find(trusted.begin(), trusted.end(), *identity) != trusted.end();
}

}  // namespace Core::internal
