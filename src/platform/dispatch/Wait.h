#pragma once
// The one blocking wait behind groups, semaphores and work items.

#include "platform/Clock.h"
#include "platform/Dispatch.h"
#include "platform/dispatch/Mutex.h"
#include "platform/dispatch/Timers.h"

#include <condition_variable>
#include <memory>
#include <optional>

namespace platform::dispatch::internal {

// Waits until `ready()` (called with `mutex` held; it may consume what it
// finds) returns true or the installed clock reaches `deadline`
// (TimePoint::max(): no limit). A pool worker counts as blocked while it
// waits. `owner` keeps `mutex` and `cv` alive for the deadline's timer.
// Returns the last answer of ready().
//
// Left out of the lock analysis, with the readiness checks of its callers:
// the analysis sees `ready` as a function of its own and `mutex` under
// another name than the guarded members the check reads, so it can't tell
// that every call of `ready` here holds the lock. Both calls do: each sits
// in the scope of a MutexLock on `mutex`.
template <class Ready>
bool blockUntil(const std::shared_ptr<void>& owner, Mutex& mutex, std::condition_variable& cv,
                Clock::TimePoint deadline, Ready ready) NO_THREAD_SAFETY_ANALYSIS {
    {
        MutexLock lock(mutex);
        if (ready()) return true;
        if (clock().now() >= deadline) return false;
    }
    ScopedBlockingCall blocking;  // taken unlocked: it may start a worker
    MutexLock lock(mutex);
    std::optional<DeadlineWake> wake;
    if (deadline != Clock::TimePoint::max()) wake.emplace(owner, mutex, cv, deadline);
    bool ok = false;
    while (!(ok = ready()) && clock().now() < deadline) lock.wait(cv);
    return ok;
}

}  // namespace platform::dispatch::internal
