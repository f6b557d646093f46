#include "platform/Dispatch.h"
#include "support/Await.h"
#include "support/ScopedSimulatedClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>

using namespace platform::dispatch;
using namespace std::chrono_literals;
using testing_support::Flag;
using testing_support::kPatience;

namespace {

size_t blockedNow() { return poolStatsForTesting().blocked; }

bool awaitBlocked(size_t atLeast) {
    return waitForPoolForTesting([&](const PoolStatsForTesting& s) { return s.blocked >= atLeast; }, kPatience);
}

// One kind of blocking wait: `wait` blocks until `release` has run.
struct BlockingKind {
    const char* name;
    std::function<std::shared_ptr<void>(int waiters)> make;        // shared state
    std::function<void(const std::shared_ptr<void>&)> wait;
    std::function<void(const std::shared_ptr<void>&, int waiters)> release;
};

// A serial queue held by an item that waits at `gate`.
struct BusySerialQueue {
    QueuePtr queue = makeSerialQueue("busy");
    Semaphore gate{0};
};

std::vector<BlockingKind> blockingKinds() {
    return {
        {"Semaphore", [](int) { return std::static_pointer_cast<void>(std::make_shared<Semaphore>(0)); },
         [](const std::shared_ptr<void>& s) { static_cast<Semaphore*>(s.get())->wait(); },
         [](const std::shared_ptr<void>& s, int n) {
             for (int i = 0; i < n; ++i) static_cast<Semaphore*>(s.get())->signal();
         }},
        {"Group",
         [](int) {
             auto g = std::make_shared<Group>();
             g->enter();
             return std::static_pointer_cast<void>(g);
         },
         [](const std::shared_ptr<void>& s) { static_cast<Group*>(s.get())->wait(); },
         [](const std::shared_ptr<void>& s, int) { static_cast<Group*>(s.get())->leave(); }},
        {"WorkItem", [](int) { return std::static_pointer_cast<void>(std::make_shared<WorkItem>([] {})); },
         [](const std::shared_ptr<void>& s) { static_cast<WorkItem*>(s.get())->wait(); },
         [](const std::shared_ptr<void>& s, int) { static_cast<WorkItem*>(s.get())->perform(); }},
        {"SyncOntoBusySerialQueue",
         [](int) {
             auto b = std::make_shared<BusySerialQueue>();
             b->queue->async([b = b.get()] { b->gate.wait(); });
             return std::static_pointer_cast<void>(b);
         },
         [](const std::shared_ptr<void>& s) { static_cast<BusySerialQueue*>(s.get())->queue->sync([] {}); },
         [](const std::shared_ptr<void>& s, int) { static_cast<BusySerialQueue*>(s.get())->gate.signal(); }},
    };
}

class BlockingWorkerTest : public testing::TestWithParam<BlockingKind> {};

// More items block than the pool runs at once; the pool must start more
// workers, or the releasing item, queued last, would never run.
TEST_P(BlockingWorkerTest, PoolGrowsPastItsLimitSoTheLastItemCanRelease) {
    const BlockingKind& kind = GetParam();
    const size_t base = blockedNow();
    const int waiters = static_cast<int>(poolStatsForTesting().activeLimit) * 3 + 2;
    auto state = kind.make(waiters);
    auto q = makeConcurrentQueue("blockers");
    Group g;
    for (int i = 0; i < waiters; ++i) q->async(g, [&kind, state] { kind.wait(state); });
    ASSERT_TRUE(awaitBlocked(base + waiters)) << "every waiter got a worker of its own";
    EXPECT_GT(poolStatsForTesting().workers, poolStatsForTesting().activeLimit);
    q->async(g, [&kind, state, waiters] { kind.release(state, waiters); });
    EXPECT_TRUE(g.wait(kPatience));
}

INSTANTIATE_TEST_SUITE_P(EachKind, BlockingWorkerTest, testing::ValuesIn(blockingKinds()),
                         [](const auto& info) { return std::string(info.param.name); });

// At its hard cap the pool starts no more workers, however many block; what
// is queued then waits and runs once a worker comes free.
TEST(WorkerPoolTest, AtItsHardCapQueuedWorkWaitsForAFreeWorker) {
    const size_t cap = poolStatsForTesting().hardCap;
    const size_t blockers = cap + 4;
    auto q = makeConcurrentQueue("cap");
    Semaphore gate(0);
    Group g;
    for (size_t i = 0; i < blockers; ++i) q->async(g, [&] { gate.wait(); });
    bool capped = waitForPoolForTesting(
        [&](const PoolStatsForTesting& s) { return s.blocked == cap && s.queued > 0; }, kPatience);
    size_t workers = poolStatsForTesting().workers;
    for (size_t i = 0; i < blockers; ++i) gate.signal();
    EXPECT_TRUE(capped);
    EXPECT_EQ(workers, cap);
    EXPECT_TRUE(g.wait(kPatience));
}

TEST(WorkerPoolTest, IdleWorkersRetire) {
    Group g;
    for (int i = 0; i < 8; ++i) globalQueue()->async(g, [] {});
    ASSERT_TRUE(g.wait(kPatience));
    setIdleWorkerTimeoutForTesting(10ms);
    EXPECT_TRUE(waitForPoolForTesting(
        [](const PoolStatsForTesting& s) { return s.workers == s.blocked && s.queued == 0; }, kPatience));
    setIdleWorkerTimeoutForTesting(10s);
    // And the pool comes back when work arrives.
    Flag ran;
    globalQueue()->async([&] { ran.set(); });
    EXPECT_TRUE(ran.await());
}

TEST(WorkItemTest, CancelledBeforeStartNeverRuns) {
    auto q = makeSerialQueue("cancel");
    Semaphore gate(0);
    q->async([&] { gate.wait(); });
    std::atomic<bool> ran{false};
    auto item = std::make_shared<WorkItem>([&] { ran = true; });
    q->async(item);
    item->cancel();
    gate.signal();
    ASSERT_TRUE(item->wait(kPatience));
    q->sync([] {});
    EXPECT_FALSE(ran.load());
    EXPECT_TRUE(item->isCancelled());
    item->perform();
    EXPECT_FALSE(ran.load()) << "perform of a cancelled item does nothing";
}

TEST(WorkItemTest, CancelledAfterStartFinishes) {
    auto q = makeSerialQueue("started");
    Semaphore started(0), gate(0);
    std::atomic<bool> finished{false};
    auto item = std::make_shared<WorkItem>([&] {
        started.signal();
        gate.wait();
        finished = true;
    });
    q->async(item);
    ASSERT_TRUE(started.wait(kPatience));
    item->cancel();
    gate.signal();
    ASSERT_TRUE(item->wait(kPatience));
    EXPECT_TRUE(finished.load()) << "wait() returns only once the running block is done";
}

TEST(GroupTest, NotifyRunsOnceTheGroupEmpties) {
    auto q = makeSerialQueue("notified");
    Group g;
    g.enter();
    g.enter();
    bool notified = false;
    g.notify(q, [&] { notified = true; });
    g.leave();
    q->sync([] {});
    EXPECT_FALSE(notified);
    g.leave();
    q->sync([] {});
    EXPECT_TRUE(notified);
    bool atOnce = false;
    g.notify(q, [&] { atOnce = true; });
    q->sync([] {});
    EXPECT_TRUE(atOnce) << "an empty group notifies at once";
    EXPECT_THROW(g.leave(), std::logic_error);
    EXPECT_TRUE(g.wait(0s));
}

TEST(SemaphoreTest, CountsAndRejectsANegativeStart) {
    Semaphore s(2);
    EXPECT_TRUE(s.wait(0s));
    EXPECT_TRUE(s.wait(0s));
    EXPECT_FALSE(s.wait(0s));
    s.signal();
    EXPECT_TRUE(s.wait(0s));
    EXPECT_THROW(Semaphore(-1), std::invalid_argument);
}

// A timed wait by the simulated clock: `start` begins a wait of 5 s on a
// worker and returns its result; `release` ends it early.
struct TimedKind {
    const char* name;
    std::function<std::future<bool>(std::shared_ptr<void>&)> start;
    std::function<void(const std::shared_ptr<void>&)> release;
};

std::vector<TimedKind> timedKinds() {
    auto onWorker = [](std::function<bool()> wait) {
        auto p = std::make_shared<std::promise<bool>>();
        auto f = p->get_future();
        globalQueue()->async([p, wait] { p->set_value(wait()); });
        return f;
    };
    return {
        {"Group",
         [onWorker](std::shared_ptr<void>& s) {
             auto g = std::make_shared<Group>();
             g->enter();
             s = g;
             return onWorker([g] { return g->wait(5s); });
         },
         [](const std::shared_ptr<void>& s) { static_cast<Group*>(s.get())->leave(); }},
        {"Semaphore",
         [onWorker](std::shared_ptr<void>& s) {
             auto sem = std::make_shared<Semaphore>(0);
             s = sem;
             return onWorker([sem] { return sem->wait(5s); });
         },
         [](const std::shared_ptr<void>& s) { static_cast<Semaphore*>(s.get())->signal(); }},
        {"WorkItem",
         [onWorker](std::shared_ptr<void>& s) {
             auto item = std::make_shared<WorkItem>([] {});
             s = item;
             return onWorker([item] { return item->wait(5s); });
         },
         [](const std::shared_ptr<void>& s) { static_cast<WorkItem*>(s.get())->perform(); }},
    };
}

class TimedWaitTest : public testing::TestWithParam<TimedKind> {
protected:
    // Starts the waiter and returns once its worker has blocked.
    std::future<bool> startWaiter() {
        const size_t base = blockedNow();
        auto result = GetParam().start(state);
        EXPECT_TRUE(awaitBlocked(base + 1));
        return result;
    }
    testing_support::ScopedSimulatedClock clock;
    std::shared_ptr<void> state;
};

TEST_P(TimedWaitTest, TimesOutByTheInjectedClockNotBefore) {
    auto result = startWaiter();
    clock->advance(4999ms);
    // A timer due just after that fires first; once it has, the wait's
    // deadline has been looked at and must not have passed.
    Flag probe;
    globalQueue()->asyncAfter(500us, [&] { probe.set(); });
    clock->advance(500us);
    ASSERT_TRUE(probe.await());
    EXPECT_NE(result.wait_for(0s), std::future_status::ready) << "woke before its deadline";
    clock->advance(500us);
    ASSERT_EQ(result.wait_for(kPatience), std::future_status::ready);
    EXPECT_FALSE(result.get());
}

TEST_P(TimedWaitTest, ReturnsTrueWhenReleasedInTime) {
    auto result = startWaiter();
    clock->advance(4s);
    GetParam().release(state);
    ASSERT_EQ(result.wait_for(kPatience), std::future_status::ready);
    EXPECT_TRUE(result.get());
    EXPECT_EQ(pendingTimersForTesting(), 0u) << "the deadline's timer is cancelled";
}

INSTANTIATE_TEST_SUITE_P(EachKind, TimedWaitTest, testing::ValuesIn(timedKinds()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace

// A waiter owns the primitive and destroys it as soon as its wait returns,
// while the signalling thread may still be waking it (ThreadSanitizer saw
// the condition variable destroyed under a notify).
TEST(DispatchLifetimeTest, WaiterMayDestroyWhatItWaitedOnAtOnce) {
    auto queue = platform::dispatch::makeConcurrentQueue("lifetime");
    testing_support::finishWithin([&] {
        for (int i = 0; i < 200; ++i) {
            {
                platform::dispatch::Semaphore done(0);
                queue->async([&done] { done.signal(); });
                done.wait();
            }
            {
                platform::dispatch::Group group;
                group.enter();
                queue->async([&group] { group.leave(); });
                group.wait();
            }
        }
    }, "the waits");
}
