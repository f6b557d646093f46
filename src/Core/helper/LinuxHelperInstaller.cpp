#include "Core/helper/LinuxHelperInstaller.h"

#include "platform/Layout.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

extern char** environ;

namespace Core {

namespace {

namespace fs = std::filesystem;

constexpr const char* kToolFileName = "core-helper";
constexpr int kStartTimeoutMs = 10000;

std::string errnoText(const std::string& what) { return what + ": " + std::strerror(errno); }

// Stops the tool that an earlier install started, if it still runs from the
// installed path.
void stopPreviousTool(const std::string& pidFile, const std::string& installedPath) {
    std::ifstream in(pidFile);
    pid_t pid = 0;
    if (!(in >> pid) || pid <= 1) return;
    std::error_code ec;
    fs::path executable = fs::read_symlink("/proc/" + std::to_string(pid) + "/exe", ec);
    if (ec) return;
    std::string running = executable.string();
    if (running == installedPath || running == installedPath + " (deleted)") ::kill(pid, SIGTERM);
}

bool copyTool(const std::string& from, const std::string& to, std::string& error) {
    std::error_code ec;
    fs::create_directories(fs::path(to).parent_path(), ec);
    std::string staging = to + ".new";
    fs::remove(staging, ec);
    if (!fs::copy_file(from, staging, ec)) {
        error = "cannot copy " + from + " to " + staging + ": " + ec.message();
        return false;
    }
    // Replaced by rename, so a running old copy keeps its own file.
    if (::chmod(staging.c_str(), 0755) != 0 || ::rename(staging.c_str(), to.c_str()) != 0) {
        error = errnoText("cannot install " + to);
        fs::remove(staging, ec);
        return false;
    }
    return true;
}

// Starts the tool in a session of its own and waits for its "ready" line.
// It outlives the caller, so it holds none of the caller's files: a pipe
// that the caller's reader waits on would otherwise never end.
bool startTool(const std::string& tool, const std::string& socketPath, std::string& error) {
    std::error_code ec;
    fs::create_directories(fs::path(socketPath).parent_path(), ec);
    int ready[2];
    if (::pipe2(ready, O_CLOEXEC) != 0) {
        error = errnoText("pipe");
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // The child's copy of the write end must survive exec: dup it to itself
    // with close-on-exec cleared.
    posix_spawn_file_actions_adddup2(&actions, ready[1], 3);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, 4);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    std::string uid = std::to_string(::getuid());
    // It serves the same tree as the application: its maintenance tools are
    // looked up under the layout's root.
    std::string root = platform::Layout::shared().root();
    const char* argv[] = {tool.c_str(), "--socket", socketPath.c_str(), "--allow-uid", uid.c_str(),
                          "--ready-fd", "3", "--root", root.c_str(), nullptr};
    pid_t pid = -1;
    int spawnError = ::posix_spawn(&pid, tool.c_str(), &actions, &attributes, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(ready[1]);
    if (spawnError != 0) {
        ::close(ready[0]);
        error = "cannot start " + tool + ": " + std::strerror(spawnError);
        return false;
    }
    std::string answer;
    char buffer[64];
    pollfd waiting{ready[0], POLLIN, 0};
    while (answer.find('\n') == std::string::npos && ::poll(&waiting, 1, kStartTimeoutMs) > 0) {
        ssize_t count = ::read(ready[0], buffer, sizeof buffer);
        if (count <= 0) break;
        answer.append(buffer, static_cast<size_t>(count));
    }
    ::close(ready[0]);
    if (answer.rfind("ready", 0) != 0) {
        error = "the helper tool did not start: " + (answer.empty() ? std::string("no answer") : answer);
        return false;
    }
    return true;
}

}  // namespace

std::optional<std::string> LinuxHelperInstaller::bundledToolPath() const {
    {
        std::lock_guard lock(_mutex);
        if (!_bundledToolPath.empty()) return _bundledToolPath;
    }
    std::error_code ec;
    fs::path self = fs::read_symlink("/proc/self/exe", ec);
    if (ec) return std::nullopt;
    for (const fs::path& candidate : {self.parent_path() / kToolFileName,
                                      self.parent_path().parent_path() / "libexec" / kToolFileName}) {
        if (::access(candidate.c_str(), X_OK) == 0) return candidate.string();
    }
    return std::nullopt;
}

void LinuxHelperInstaller::setBundledToolPath(const std::string& path) {
    std::lock_guard lock(_mutex);
    _bundledToolPath = path;
}

int LinuxHelperInstaller::createAuthorization(bool& hasReference) {
    hasReference = true;
    return 0;
}

bool LinuxHelperInstaller::bless(const std::string& label, std::string& errorDescription) {
    auto source = bundledToolPath();
    if (!source) {
        errorDescription = "the application has no copy of " + label;
        return false;
    }
    std::string installed = installedToolPath();
    if (!copyTool(*source, installed, errorDescription)) return false;
    std::string socketPath = platform::Layout::shared().helperSocketPath();
    stopPreviousTool(socketPath + ".pid", installed);
    return startTool(installed, socketPath, errorDescription);
}

}  // namespace Core
