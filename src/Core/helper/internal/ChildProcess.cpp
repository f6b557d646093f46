#include "Core/helper/internal/ChildProcess.h"

#include "Core/helper/internal/ClockWake.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>

namespace Core::internal {

namespace {

// A fixed search path, so no caller's PATH, IFS or loader variable reaches
// a process that runs as root.
const char* const kEnvironment[] = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LANG=C", nullptr};

std::function<void()>& waitingHook() {
    static std::function<void()> hook;
    return hook;
}

}  // namespace

void ChildProcess::setWaitingHookForTesting(std::function<void()> hook) { waitingHook() = std::move(hook); }

std::shared_ptr<ChildProcess> ChildProcess::start(const std::vector<std::string>& argv) {
    if (argv.empty() || argv.front().empty() || argv.front().front() != '/') return nullptr;
    std::vector<char*> words;
    for (const auto& word : argv) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // A child that outlives its time limit must not hold the tool's output
    // (a pipe, when started by hand) open.
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t all, none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    pid_t pid = -1;
    int error = ::posix_spawn(&pid, words.front(), &actions, &attributes, words.data(),
                              const_cast<char* const*>(kEnvironment));
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) return nullptr;
    std::shared_ptr<ChildProcess> child(new ChildProcess(pid));
    child->_reaper = std::thread([raw = child.get()] { raw->reap(); });
    return child;
}

ChildProcess::ChildProcess(pid_t pid) : _pid(pid) {}

ChildProcess::~ChildProcess() {
    terminate();
    if (_reaper.joinable()) _reaper.join();
}

void ChildProcess::reap() {
    // Seen exited but left a zombie until marked, so that a kill of the group
    // under the lock can't reach a process that took over the number.
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(_pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    {
        std::lock_guard lock(_mutex);
        _exited = true;
        _exitStatus = info.si_code == CLD_EXITED ? info.si_status : -1;
    }
    _changed.notify_all();
    int status = 0;
    while (::waitpid(_pid, &status, 0) < 0 && errno == EINTR) {
    }
}

void ChildProcess::killGroupLocked() {
    if (!_exited) ::kill(-_pid, SIGKILL);
    _ended = true;
}

void ChildProcess::terminate() {
    {
        std::lock_guard lock(_mutex);
        if (_exited) return;
        killGroupLocked();
    }
    _changed.notify_all();
}

bool ChildProcess::wait(platform::Clock::TimePoint deadline) {
    ClockWake wake(_mutex, _changed);  // goes after the lock below
    std::unique_lock lock(_mutex);
    if (waitingHook()) waitingHook()();
    auto& clock = platform::clock();
    while (!_exited && !_ended && clock.now() < deadline) clock.waitUntil(lock, _changed, deadline);
    if (!_exited) killGroupLocked();
    // SIGKILL can't be caught: the child is gone soon after.
    _changed.wait(lock, [this] { return _exited; });
    return !_ended && _exitStatus == 0;
}

}  // namespace Core::internal
