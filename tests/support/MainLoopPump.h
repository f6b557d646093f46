#pragma once
// Runs the main loop on the test's thread until a condition holds, with a
// real-time limit that fails the test instead of hanging it, also while a
// simulated clock stands still (the main loop's own timeout reads the
// injected clock).
//
//   ASSERT_TRUE(testing_support::pumpMainLoopUntil([&] { return delivered; }));

#include "platform/Dispatch.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace testing_support {

inline bool pumpMainLoopUntil(const std::function<bool()>& predicate,
                              std::chrono::duration<double> limit = std::chrono::seconds(30)) {
    std::mutex mutex;
    std::condition_variable finishedChanged;
    bool finished = false;
    bool timedOut = false;  // read by the loop's predicate on this thread, written by the watchdog
    std::thread watchdog([&] {
        std::unique_lock lock(mutex);
        if (finishedChanged.wait_for(lock, limit, [&] { return finished; })) return;
        timedOut = true;
        lock.unlock();
        // An item on the main queue makes the loop test its predicate again.
        platform::dispatch::mainQueue()->async([] {});
    });
    auto stop = [&] {
        std::lock_guard lock(mutex);
        return timedOut || predicate();
    };
    platform::dispatch::runMainLoopUntil(stop, std::chrono::hours(24 * 365));
    bool held;
    {
        std::lock_guard lock(mutex);
        finished = true;
        held = !timedOut;
    }
    finishedChanged.notify_one();
    watchdog.join();
    return held && predicate();
}

// Runs what is queued on the main queue now, and what it queues in turn.
inline bool drainMainQueue() {
    bool reached = false;
    platform::dispatch::mainQueue()->async([&] { reached = true; });
    return pumpMainLoopUntil([&] { return reached; });
}

}  // namespace testing_support
