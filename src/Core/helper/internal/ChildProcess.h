#pragma once
// A process the helper starts (a script, a maintenance tool), started so
// that nothing of the helper leaks into it and so that it can always be
// ended: default handling for every signal, an empty signal mask, a process
// group of its own, a clean environment, standard input, output and error
// on /dev/null, no other descriptor of the helper. Ending it ends its whole group, so a
// script's own children go with it.
//
// Threading: wait() from one thread; terminate() from any thread.
//
//   auto child = internal::ChildProcess::start({"/bin/sh", "-c", text});
//   bool ok = child && child->wait(platform::deadlineAfter(platform::clock().now(), std::chrono::minutes(10)));

#include "platform/Clock.h"

#include <sys/types.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Core::internal {

class ChildProcess {
public:
    // Starts `argv`, whose first word must be an absolute path; null when it
    // can't be started.
    static std::shared_ptr<ChildProcess> start(const std::vector<std::string>& argv);
    // Ends the group if it still runs, and reaps the child.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Waits until the child exits, terminate() is called, or `deadline` by
    // the platform clock passes; the last two end the whole group. True only
    // when the child exited by itself with status 0.
    bool wait(platform::Clock::TimePoint deadline);
    // Ends the whole group; a wait in progress returns false.
    void terminate();
    pid_t pid() const { return _pid; }

    // Called by wait() once it holds its lock, before it first looks at the
    // time: a test may then move a simulated clock and know it is seen. Set
    // while no child is waited for; empty to clear.
    static void setWaitingHookForTesting(std::function<void()> hook);

private:
    explicit ChildProcess(pid_t pid);
    void reap();
    void killGroupLocked();

    pid_t _pid;
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _exited = false;  // a zombie: its group id can't be reused yet
    bool _ended = false;   // ended by terminate() or the deadline
    int _exitStatus = -1;
    std::thread _reaper;
};

}  // namespace Core::internal
