#pragma once
// Clock: where the platform layer reads the time. Timers (asyncAfter),
// timeouts of waits, throttles and watchdogs all read the installed clock,
// never std::chrono::steady_clock directly, so that tests can drive time by
// hand with a SimulatedClock: exactly and without sleeping.
//
// Threading: every Clock must be safe to read from any thread. The installed
// clock is swapped with setClockForTesting(); swap it only while nothing is
// waiting on it (at the start and end of a test), and keep it alive while
// it is installed.
//
//   platform::SimulatedClock sim;
//   platform::setClockForTesting(&sim);
//   queue->asyncAfter(3.0s, [] { ... });   // fires once sim has moved 3 s on
//   sim.advance(std::chrono::seconds(3));
//   platform::setClockForTesting(nullptr);

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace platform {

class Clock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    virtual ~Clock() = default;

    // The current time. Never goes back.
    virtual TimePoint now() const = 0;

    // Waits on `cv`, whose mutex `lock` holds, until it is notified or until
    // `deadline` by this clock may have come. It may return early; callers
    // check their condition and the time again. The default waits in real
    // time; a clock that moves only by command overrides it and calls
    // notifyTimeChanged() whenever it moves, which wakes the waiters that
    // listen (the dispatch layer's timer).
    virtual void waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& cv,
                           TimePoint deadline) const;
};

// The real monotonic clock; lives for the whole process.
Clock& systemClock();

// A clock that moves only when told. Starts at the system clock's time of
// its construction (so that timers set before it was installed keep
// sensible deadlines). advance() and setNow() fire, through the dispatch
// layer's timer, whatever became due: asynchronously, so a test advances the
// clock and then waits for a condition.
class SimulatedClock : public Clock {
public:
    SimulatedClock();
    explicit SimulatedClock(TimePoint start);

    TimePoint now() const override;
    void waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& cv,
                   TimePoint deadline) const override;

    // Moves the clock on by `by`; a negative step throws std::invalid_argument.
    void advance(Duration by);
    // Sets the time; a time before now() throws std::invalid_argument.
    void setNow(TimePoint t);

private:
    mutable std::mutex _mutex;
    TimePoint _now;
};

// The clock the platform layer reads: the system clock unless a test has
// installed another.
Clock& clock();
// Installs `c` as the clock (null restores the system clock) and wakes the
// timer so that it reads the new clock.
void setClockForTesting(Clock* c);

// Listeners told after the time of a commanded clock moved or the clock was
// swapped. They are called on the thread that moved it, with no lock held,
// and live for the whole process (the dispatch layer adds one).
void addTimeChangeListener(std::function<void()> listener);
void notifyTimeChanged();

// Seconds as a clock duration: NaN and negative values give zero, values too
// large for the clock give the largest duration.
Clock::Duration toClockDuration(std::chrono::duration<double> seconds);
// `from` plus `seconds`, saturating at the latest time point.
Clock::TimePoint deadlineAfter(Clock::TimePoint from, std::chrono::duration<double> seconds);

}  // namespace platform
