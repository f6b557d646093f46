#include "platform/Clock.h"

#include <atomic>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace platform {

void Clock::waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& cv,
                      TimePoint deadline) const {
    // Far deadlines (a timeout of "forever") would overflow the native wait.
    const auto now = std::chrono::steady_clock::now();
    if (deadline - now > std::chrono::hours(24))
        cv.wait_for(lock, std::chrono::hours(24));
    else
        cv.wait_until(lock, deadline);
}

namespace {

class SystemClock final : public Clock {
public:
    TimePoint now() const override { return std::chrono::steady_clock::now(); }
};

std::atomic<Clock*> gInstalled{nullptr};

struct Listeners {
    std::mutex mutex;
    std::vector<std::function<void()>> list;
};

Listeners& listeners() {
    // Never destroyed: detached threads may move the clock during exit.
    static Listeners* l = new Listeners;
    return *l;
}

}  // namespace

Clock& systemClock() {
    static SystemClock* c = new SystemClock;
    return *c;
}

SimulatedClock::SimulatedClock() : _now(systemClock().now()) {}
SimulatedClock::SimulatedClock(TimePoint start) : _now(start) {}

Clock::TimePoint SimulatedClock::now() const {
    std::lock_guard lock(_mutex);
    return _now;
}

void SimulatedClock::waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& cv,
                               TimePoint /*deadline*/) const {
    // Time moves only in advance()/setNow(), which notify the listeners; the
    // listener wakes this cv under its own mutex, so no wake-up is lost.
    cv.wait(lock);
}

void SimulatedClock::advance(Duration by) {
    if (by < Duration::zero()) throw std::invalid_argument("SimulatedClock::advance: negative step");
    {
        std::lock_guard lock(_mutex);
        _now += by;
    }
    notifyTimeChanged();
}

void SimulatedClock::setNow(TimePoint t) {
    {
        std::lock_guard lock(_mutex);
        if (t < _now) throw std::invalid_argument("SimulatedClock::setNow: time cannot go back");
        _now = t;
    }
    notifyTimeChanged();
}

Clock& clock() {
    Clock* c = gInstalled.load(std::memory_order_acquire);
    return c ? *c : systemClock();
}

void setClockForTesting(Clock* c) {
    gInstalled.store(c, std::memory_order_release);
    notifyTimeChanged();
}

void addTimeChangeListener(std::function<void()> listener) {
    std::lock_guard lock(listeners().mutex);
    listeners().list.push_back(std::move(listener));
}

void notifyTimeChanged() {
    std::vector<std::function<void()>> copy;
    {
        std::lock_guard lock(listeners().mutex);
        copy = listeners().list;
    }
    for (auto& l : copy) l();
}

Clock::Duration toClockDuration(std::chrono::duration<double> seconds) {
    const double s = seconds.count();
    if (std::isnan(s) || s <= 0) return Clock::Duration::zero();
    const double ticks = s * Clock::Duration::period::den / Clock::Duration::period::num;
    if (ticks >= static_cast<double>(Clock::Duration::max().count())) return Clock::Duration::max();
    return Clock::Duration(static_cast<Clock::Duration::rep>(ticks));
}

Clock::TimePoint deadlineAfter(Clock::TimePoint from, std::chrono::duration<double> seconds) {
    const Clock::Duration d = toClockDuration(seconds);
    if (d >= Clock::TimePoint::max() - from) return Clock::TimePoint::max();
    return from + d;
}

}  // namespace platform
