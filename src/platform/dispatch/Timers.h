#pragma once
// The timer thread: runs callbacks once the installed clock reaches their
// deadline, in deadline order and, for equal deadlines, in the order they
// were added. Callbacks run on the timer thread with no lock held and must
// be short (they queue work or wake a waiter). Lives for the whole process.

#include "platform/Clock.h"
#include "platform/dispatch/Mutex.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace platform::dispatch::internal {

class Timers {
public:
    using Token = std::pair<Clock::TimePoint, uint64_t>;

    static Timers& shared();

    Token add(Clock::TimePoint deadline, std::function<void()> callback) EXCLUDES(_mutex);
    // Drops a timer that has not fired; a timer that is firing goes on.
    void cancel(const Token& token) EXCLUDES(_mutex);
    size_t pending() EXCLUDES(_mutex);

private:
    Timers();
    void run() EXCLUDES(_mutex);

    Mutex _mutex;
    std::condition_variable _cv;
    std::map<Token, std::function<void()>> _timers GUARDED_BY(_mutex);
    uint64_t _sequence GUARDED_BY(_mutex) = 0;
    bool _started GUARDED_BY(_mutex) = false;
};

// While alive, wakes `cv` (after passing through `mutex`, so that a waiter
// that checked the time under `mutex` cannot miss it) once the installed
// clock reaches `deadline`. `owner` keeps `mutex` and `cv` alive for the
// callback; the wake is skipped once it is gone.
class DeadlineWake {
public:
    DeadlineWake(std::weak_ptr<void> owner, Mutex& mutex, std::condition_variable& cv,
                 Clock::TimePoint deadline);
    ~DeadlineWake();
    DeadlineWake(const DeadlineWake&) = delete;
    DeadlineWake& operator=(const DeadlineWake&) = delete;

private:
    Timers::Token _token;
    bool _armed;
};

}  // namespace platform::dispatch::internal
