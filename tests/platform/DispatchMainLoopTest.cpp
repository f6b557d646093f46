#include "platform/Clock.h"
#include "platform/Dispatch.h"
#include "support/Await.h"
#include "support/ScopedSimulatedClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

using namespace platform::dispatch;
using namespace std::chrono_literals;
using platform::Clock;
using testing_support::kPatience;

namespace {

// gtest runs every test on the process's main thread, which the first
// runMainLoopUntil makes the main thread of the dispatch layer.

TEST(MainLoopTest, SyncFromAWorkerWaitsForTheMainLoop) {
    std::atomic<bool> ranOnMain{false}, done{false};
    globalQueue()->async([&] {
        mainQueue()->sync([&] { ranOnMain = isMainThread(); });
        mainQueue()->async([&] { done = true; });
    });
    ASSERT_TRUE(runMainLoopUntil([&] { return done.load(); }, kPatience));
    EXPECT_TRUE(ranOnMain.load());
    EXPECT_TRUE(isMainThread());
}

TEST(MainLoopTest, SyncOntoTheMainQueueFromTheMainThreadRunsInline) {
    ASSERT_TRUE(runMainLoopUntil([] { return true; }, 0s));  // declares this thread main
    std::thread::id ranOn;
    std::string label;
    mainQueue()->sync([&] {
        ranOn = std::this_thread::get_id();
        label = currentQueueLabel();
    });
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_EQ(label, "main");
    bool refused = false;
    testing_support::finishWithin([&] {
        try {
            runMainLoop();
        } catch (const std::logic_error&) {
            refused = true;
        }
    }, "the main loop run off the main thread");
    EXPECT_TRUE(refused) << "only the main thread runs the main loop";
}

TEST(MainLoopTest, StopEndsRunMainLoop) {
    std::atomic<bool> ran{false};
    globalQueue()->async([&] {
        mainQueue()->async([&] {
            ran = true;
            stopMainLoop();
        });
    });
    runMainLoop();
    EXPECT_TRUE(ran.load());
}

TEST(MainLoopTest, RunMainLoopUntilTimesOutByTheInjectedClock) {
    testing_support::ScopedSimulatedClock clock;
    int ran = 0;
    // The first item moves the clock to the deadline; the loop must then
    // give up, with the predicate still false, and not wait in real time.
    mainQueue()->async([&] {
        ++ran;
        clock->advance(3s);
    });
    EXPECT_FALSE(runMainLoopUntil([] { return false; }, 3s));
    EXPECT_EQ(ran, 1);
    // Nothing is due: a wait of 0 s returns at once, false.
    EXPECT_FALSE(runMainLoopUntil([] { return false; }, 0s));
}

TEST(MainLoopTest, RunMainLoopUntilWakesOnAnotherThreadsChange) {
    std::atomic<bool> flag{false};
    globalQueue()->async([&] {
        flag = true;
        wakeMainLoop();
    });
    EXPECT_TRUE(runMainLoopUntil([&] { return flag.load(); }, kPatience));
}

TEST(AsyncAfterTest, NeverEarlyAndInOrderWhenDueTogether) {
    testing_support::ScopedSimulatedClock clock;
    const Clock::TimePoint start = clock->now();
    std::vector<int> order;
    std::vector<Clock::TimePoint> ranAt;
    for (int i = 0; i < 5; ++i)
        mainQueue()->asyncAfter(1s, [&, i] {
            order.push_back(i);
            ranAt.push_back(platform::clock().now());
        });
    bool probe = false;
    clock->advance(999ms);
    mainQueue()->asyncAfter(500us, [&] { probe = true; });
    clock->advance(500us);
    ASSERT_TRUE(runMainLoopUntil([&] { return probe; }, 1h));
    EXPECT_TRUE(order.empty()) << "a timer fired before its time";
    clock->advance(500us);
    ASSERT_TRUE(runMainLoopUntil([&] { return order.size() == 5; }, 1h));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
    for (auto t : ranAt) EXPECT_GE(t, start + 1s);
}

TEST(AsyncAfterTest, CancelledWorkItemNeverRunsAndNonPositiveDelaysRunAtOnce) {
    testing_support::ScopedSimulatedClock clock;
    auto q = makeSerialQueue("timers");
    std::atomic<bool> ran{false};
    auto item = std::make_shared<WorkItem>([&] { ran = true; });
    q->asyncAfter(2s, item);
    testing_support::Flag after;
    q->asyncAfter(2s, [&] { after.set(); });  // same deadline, queued behind the item
    item->cancel();
    clock->advance(2s);
    ASSERT_TRUE(after.await());
    EXPECT_FALSE(ran.load());

    testing_support::Flag now, nan;
    q->asyncAfter(-1s, [&] { now.set(); });
    q->asyncAfter(std::chrono::duration<double>(std::nan("")), [&] { nan.set(); });
    EXPECT_TRUE(now.await());
    EXPECT_TRUE(nan.await());
    EXPECT_EQ(platform::dispatch::pendingTimersForTesting(), 0u);
}

TEST(ClockTest, ConversionsSaturateAndTheSimulatedClockOnlyMovesForward) {
    using platform::toClockDuration;
    EXPECT_EQ(toClockDuration(std::chrono::duration<double>(-1)), Clock::Duration::zero());
    EXPECT_EQ(toClockDuration(std::chrono::duration<double>(std::nan(""))), Clock::Duration::zero());
    EXPECT_EQ(toClockDuration(std::chrono::duration<double>(1e300)), Clock::Duration::max());
    EXPECT_EQ(toClockDuration(0.25s), 250ms);
    const auto now = platform::systemClock().now();
    EXPECT_EQ(platform::deadlineAfter(now, std::chrono::duration<double>(1e300)), Clock::TimePoint::max());

    platform::SimulatedClock sim(Clock::TimePoint(10s));
    sim.advance(5s);
    EXPECT_EQ(sim.now(), Clock::TimePoint(15s));
    EXPECT_THROW(sim.advance(-1s), std::invalid_argument);
    EXPECT_THROW(sim.setNow(Clock::TimePoint(14s)), std::invalid_argument);
    sim.setNow(Clock::TimePoint(20s));
    EXPECT_EQ(sim.now(), Clock::TimePoint(20s));
    EXPECT_EQ(&platform::clock(), &platform::systemClock());
}

}  // namespace
