#pragma once
// ClockWake: while it lives, a clock moved by command (a simulated one in
// tests) wakes the condition variable it names, so that a thread waiting
// through platform::clock().waitUntil sees the new time. With the system
// clock it costs a registration and nothing else.
//
// Threading: make it before taking `mutex` and let it go after releasing
// it; the wake-up takes `mutex` briefly, so none is lost between a look at
// the time and the wait.
//
//   internal::ClockWake wake(_mutex, _changed);
//   std::unique_lock lock(_mutex);
//   while (!done && clock.now() < deadline) clock.waitUntil(lock, _changed, deadline);

#include <condition_variable>
#include <mutex>

namespace Core::internal {

class ClockWake {
public:
    ClockWake(std::mutex& mutex, std::condition_variable& changed);
    ~ClockWake();
    ClockWake(const ClockWake&) = delete;
    ClockWake& operator=(const ClockWake&) = delete;

private:
    std::mutex& _mutex;
    std::condition_variable& _changed;
};

}  // namespace Core::internal
