#include "platform/dispatch/Timers.h"

#include "platform/Dispatch.h"
#include "platform/dispatch/RunLogged.h"

#include <thread>
#include <vector>

namespace platform::dispatch::internal {

Timers& Timers::shared() {
    // Never destroyed: the timer thread runs until the process ends.
    static Timers* timers = new Timers;
    return *timers;
}

Timers::Timers() {
    addTimeChangeListener([this] {
        // Passing through the mutex orders this wake after the timer thread's
        // last look at the clock.
        { MutexLock lock(_mutex); }
        _cv.notify_all();
    });
}

Timers::Token Timers::add(Clock::TimePoint deadline, std::function<void()> callback) {
    bool start = false;
    bool earliest = false;
    Token token;
    {
        MutexLock lock(_mutex);
        token = Token{deadline, ++_sequence};
        _timers.emplace(token, std::move(callback));
        earliest = _timers.begin()->first == token;
        if (!_started) start = _started = true;
    }
    if (start) std::thread([this] { run(); }).detach();
    if (earliest) _cv.notify_all();
    return token;
}

void Timers::cancel(const Token& token) {
    std::function<void()> dropped;
    {
        MutexLock lock(_mutex);
        auto it = _timers.find(token);
        if (it == _timers.end()) return;
        dropped = std::move(it->second);
        _timers.erase(it);
    }
    // `dropped` (and what it captured) dies here, outside the lock.
}

size_t Timers::pending() {
    MutexLock lock(_mutex);
    return _timers.size();
}

void Timers::run() {
    MutexLock lock(_mutex);
    for (;;) {
        const Clock::TimePoint now = clock().now();
        std::vector<std::function<void()>> due;
        while (!_timers.empty() && _timers.begin()->first.first <= now) {
            due.push_back(std::move(_timers.begin()->second));
            _timers.erase(_timers.begin());
        }
        if (!due.empty()) {
            lock.unlock();
            for (auto& callback : due) runLogged("dispatch: a timer", callback);
            due.clear();
            lock.lock();
            continue;
        }
        if (_timers.empty())
            lock.wait(_cv);
        else
            lock.waitUntil(_cv, _timers.begin()->first.first);
    }
}

DeadlineWake::DeadlineWake(std::weak_ptr<void> owner, Mutex& mutex, std::condition_variable& cv,
                           Clock::TimePoint deadline)
    : _armed(deadline != Clock::TimePoint::max()) {
    if (!_armed) return;
    _token = Timers::shared().add(deadline, [owner = std::move(owner), m = &mutex, c = &cv] {
        if (auto alive = owner.lock()) {
            { MutexLock lock(*m); }
            c->notify_all();
        }
    });
}

DeadlineWake::~DeadlineWake() {
    if (_armed) Timers::shared().cancel(_token);
}

}  // namespace platform::dispatch::internal

namespace platform::dispatch {

size_t pendingTimersForTesting() { return internal::Timers::shared().pending(); }

}  // namespace platform::dispatch
