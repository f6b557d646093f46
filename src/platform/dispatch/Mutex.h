#pragma once
// An annotated mutex and its scoped lock, so that the lock rules of the
// dispatch layer are written into the types. MutexLock can be released and
// taken again inside its scope ("act after unlocking") and waits on a
// std::condition_variable.

#include "platform/Clock.h"
#include "platform/dispatch/ThreadAnnotations.h"

#include <condition_variable>
#include <mutex>

namespace platform::dispatch::internal {

class CAPABILITY("mutex") Mutex {
public:
    void lock() ACQUIRE() { _m.lock(); }
    void unlock() RELEASE() { _m.unlock(); }
    std::mutex& native() { return _m; }

private:
    std::mutex _m;
};

class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& m) ACQUIRE(m) : _lock(m.native()) {}
    ~MutexLock() RELEASE() {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void unlock() RELEASE() { _lock.unlock(); }
    void lock() ACQUIRE() { _lock.lock(); }

    void wait(std::condition_variable& cv) { cv.wait(_lock); }
    template <class Rep, class Period>
    bool waitFor(std::condition_variable& cv, std::chrono::duration<Rep, Period> d) {
        return cv.wait_for(_lock, d) == std::cv_status::no_timeout;
    }
    // Waits by the installed clock (see Clock::waitUntil).
    void waitUntil(std::condition_variable& cv, Clock::TimePoint deadline) {
        clock().waitUntil(_lock, cv, deadline);
    }
    std::unique_lock<std::mutex>& native() { return _lock; }

private:
    std::unique_lock<std::mutex> _lock;
};

}  // namespace platform::dispatch::internal
