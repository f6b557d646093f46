#include "platform/ProcessRunner.h"

#include "platform/Dispatch.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

namespace platform {
namespace {

struct FileActions {
    posix_spawn_file_actions_t actions;
    FileActions() { posix_spawn_file_actions_init(&actions); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
};

}  // namespace

ProcessRunner::Result ProcessRunner::run(const std::string& path, const std::vector<std::string>& args) {
    return run(path, args, Options{});
}

ProcessRunner::Result ProcessRunner::run(const std::string& path, const std::vector<std::string>& args,
                                         const Options& options) {
    dispatch::ScopedBlockingCall blocking;
    Result result;
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
        result.launchError = errno;
        return result;
    }
    FileActions files;
    posix_spawn_file_actions_addopen(&files.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files.actions, pipeFds[1], STDOUT_FILENO);
    if (options.mergeStandardError) posix_spawn_file_actions_adddup2(&files.actions, pipeFds[1], STDERR_FILENO);

    std::vector<char*> argv;
    argv.reserve(args.size() + 2);
    argv.push_back(const_cast<char*>(path.c_str()));
    for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);

    pid_t pid = -1;
    int spawnError = ::posix_spawn(&pid, path.c_str(), &files.actions, nullptr, argv.data(), environ);
    ::close(pipeFds[1]);
    if (spawnError != 0) {
        ::close(pipeFds[0]);
        result.launchError = spawnError;
        return result;
    }
    char buffer[16384];
    for (;;) {
        ssize_t n = ::read(pipeFds[0], buffer, sizeof buffer);
        if (n > 0) {
            result.output.append(buffer, static_cast<size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            break;
        }
    }
    ::close(pipeFds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return result;
    }
    if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
    return result;
}

}  // namespace platform
