#pragma once
// The worker pool behind every queue: a set of detached threads that run
// jobs in the order they were submitted. At most `activeLimit` workers run
// jobs at once (the core count, at least 2); a worker inside a
// ScopedBlockingCall doesn't count, so the pool starts another while work is
// queued, up to the hard cap. Idle workers retire after the idle timeout.
// The pool lives for the whole process.

#include "platform/Dispatch.h"
#include "platform/dispatch/Mutex.h"

#include <condition_variable>
#include <deque>
#include <functional>

namespace platform::dispatch::internal {

class Pool {
public:
    static Pool& shared();

    void submit(std::function<void()> job) EXCLUDES(_mutex);
    // Called by ScopedBlockingCall on pool workers only.
    void beginBlocking() EXCLUDES(_mutex);
    void endBlocking() EXCLUDES(_mutex);
    static bool onWorkerThread();

    PoolStatsForTesting stats() EXCLUDES(_mutex);
    bool waitForStats(const std::function<bool(const PoolStatsForTesting&)>& predicate,
                      std::chrono::duration<double> timeout) EXCLUDES(_mutex);
    void setIdleTimeout(std::chrono::duration<double> timeout) EXCLUDES(_mutex);

    static constexpr size_t kHardCap = 256;

private:
    Pool();
    enum class Growth { none, wake, spawn };
    // Decides whether queued work needs another worker; the caller acts on
    // the answer after unlocking.
    Growth planGrowth() REQUIRES(_mutex);
    void act(Growth g) EXCLUDES(_mutex);
    size_t active() const REQUIRES(_mutex);
    PoolStatsForTesting statsLocked() const REQUIRES(_mutex);
    void changed() REQUIRES(_mutex);
    void workerMain() EXCLUDES(_mutex);

    Mutex _mutex;
    std::condition_variable _workCv;
    std::condition_variable _statsCv;
    std::deque<std::function<void()>> _jobs GUARDED_BY(_mutex);
    size_t _workers GUARDED_BY(_mutex) = 0;
    size_t _idle GUARDED_BY(_mutex) = 0;
    size_t _waking GUARDED_BY(_mutex) = 0;  // idle workers notified, not yet awake
    size_t _blocked GUARDED_BY(_mutex) = 0;
    size_t _statsWaiters GUARDED_BY(_mutex) = 0;
    std::chrono::duration<double> _idleTimeout GUARDED_BY(_mutex) = std::chrono::seconds(10);
    const size_t _activeLimit;
};

}  // namespace platform::dispatch::internal
