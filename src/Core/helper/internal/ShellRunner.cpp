#include "Core/helper/internal/ShellRunner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>

extern char** environ;

namespace Core::internal {

bool runShell(const std::string& commandLine, const std::function<void()>& launched) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    const char* argv[] = {"/bin/sh", "-c", commandLine.c_str(), nullptr};
    pid_t pid = -1;
    int error = ::posix_spawn(&pid, "/bin/sh", &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (launched) launched();
    if (error != 0) return false;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace Core::internal
