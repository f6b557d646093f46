#include "platform/Dispatch.h"
#include "support/Await.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace platform::dispatch;
using testing_support::Flag;
using testing_support::kPatience;

namespace {

SpecificKey<int> kNumberKey;
SpecificKey<std::string> kOtherKey;

TEST(SerialQueueTest, KeepsFifoOrderAndExclusionUnderManyProducers) {
    auto q = makeSerialQueue("fifo");
    constexpr int kProducers = 8, kPerProducer = 2000;
    std::vector<std::pair<int, int>> seen;  // touched only by the queue's items
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p)
        producers.emplace_back([&, p] {
            for (int i = 0; i < kPerProducer; ++i)
                q->async([&, p, i] {
                    if (inside.fetch_add(1) != 0) overlapped = true;
                    seen.emplace_back(p, i);
                    inside.fetch_sub(1);
                });
        });
    for (auto& t : producers) t.join();
    size_t count = 0;
    std::vector<int> next(kProducers, 0);
    bool inOrder = true;
    q->sync([&] {
        count = seen.size();
        for (auto [p, i] : seen) {
            if (i != next[p]) inOrder = false;
            next[p] = i + 1;
        }
    });
    EXPECT_EQ(count, size_t(kProducers * kPerProducer));
    EXPECT_TRUE(inOrder) << "each producer's items run in the order queued";
    EXPECT_FALSE(overlapped) << "a serial queue runs one item at a time";
}

// With one worker free, a serial queue with a long backlog gives that worker
// back now and then: another queue's item runs before the backlog is done.
// The other workers are held by waits the pool does not count as blocking,
// so it starts no extra worker.
TEST(SerialQueueTest, ABusyQueueLetsAnotherQueueRunOnTheOnlyFreeWorker) {
    const size_t limit = poolStatsForTesting().activeLimit;
    auto holders = makeConcurrentQueue("holders");
    Flag release, go;
    Semaphore holding(0);
    Group held;
    for (size_t i = 0; i + 1 < limit; ++i)
        holders->async(held, [&] {
            holding.signal();
            release.await();
        });
    for (size_t i = 0; i + 1 < limit; ++i) ASSERT_TRUE(holding.wait(kPatience));

    constexpr int kBacklog = 1000;
    auto busy = makeSerialQueue("busy"), other = makeSerialQueue("other");
    std::atomic<int> busyRan{0};
    int busyRanBeforeOther = -1;
    Flag otherRan;
    busy->async([&] {
        holding.signal();
        go.await();
    });
    ASSERT_TRUE(holding.wait(kPatience));
    for (int i = 0; i < kBacklog; ++i) busy->async([&] { ++busyRan; });
    other->async([&] {
        busyRanBeforeOther = busyRan.load();
        otherRan.set();
    });
    go.set();
    EXPECT_TRUE(otherRan.await());
    release.set();
    ASSERT_TRUE(held.wait(kPatience));
    busy->sync([] {});
    EXPECT_EQ(busyRan.load(), kBacklog);
    EXPECT_GE(busyRanBeforeOther, 0);
    EXPECT_LT(busyRanBeforeOther, kBacklog) << "the other queue waited for the whole backlog";
}

TEST(ConcurrentQueueTest, RunsItemsThatWaitForEachOther) {
    auto q = makeConcurrentQueue("pair");
    Semaphore a(0), b(0);
    Group g;
    std::atomic<int> met{0};
    q->async(g, [&] { a.signal(); if (b.wait(kPatience)) ++met; });
    q->async(g, [&] { b.signal(); if (a.wait(kPatience)) ++met; });
    ASSERT_TRUE(g.wait(kPatience));
    EXPECT_EQ(met.load(), 2);
}

TEST(ConcurrentQueueTest, BarrierWaitsForEarlierItemsAndHoldsBackLaterOnes) {
    auto q = makeConcurrentQueue("barrier");
    constexpr int kBefore = 4, kAfter = 6;
    Semaphore gate(0);
    Group g;
    std::atomic<int> before{0}, after{0};
    std::atomic<bool> barrierRan{false}, barrierSawAll{false}, afterSawBarrier{true};
    for (int i = 0; i < kBefore; ++i) q->async(g, [&] { gate.wait(); ++before; });
    g.enter();
    q->asyncBarrier([&] {
        barrierSawAll = before == kBefore && after == 0;
        barrierRan = true;
        g.leave();
    });
    for (int i = 0; i < kAfter; ++i)
        q->async(g, [&] {
            if (!barrierRan) afterSawBarrier = false;
            ++after;
        });
    EXPECT_FALSE(barrierRan.load()) << "earlier items are still held at the gate";
    EXPECT_EQ(after.load(), 0);
    for (int i = 0; i < kBefore; ++i) gate.signal();
    ASSERT_TRUE(g.wait(kPatience));
    EXPECT_TRUE(barrierSawAll.load());
    EXPECT_TRUE(afterSawBarrier.load());
    EXPECT_EQ(after.load(), kAfter);
}

TEST(ConcurrentQueueTest, SyncFromItsOwnItemRunsInlineWithoutBarrier) {
    auto q = makeConcurrentQueue("reentrant");
    bool inner = false;
    testing_support::finishWithin([&] { q->sync([&] { q->sync([&] { inner = true; }); }); }, "the nested sync");
    EXPECT_TRUE(inner);
}

// A sync cycle across two queues on two threads: each queue's item waits
// for the other queue. One of the two syncs is refused, not a hang, and both
// items end.
TEST(SerialQueueTest, SyncCycleAcrossTwoBusyQueuesOnTwoThreadsThrowsInOne) {
    auto a = makeSerialQueue("a"), b = makeSerialQueue("b");
    Flag aHeld, bHeld, aDone, bDone;
    std::atomic<int> refused{0};
    auto syncOnto = [&](const QueuePtr& queue) {
        try {
            queue->sync([] {});
        } catch (const std::logic_error&) {
            ++refused;
        }
    };
    b->async([&] {
        bHeld.set();
        if (aHeld.await()) syncOnto(a);
        bDone.set();
    });
    globalQueue()->async([&] {
        a->sync([&] {
            aHeld.set();
            if (bHeld.await()) syncOnto(b);
        });
        aDone.set();
    });
    ASSERT_TRUE(aDone.await());
    ASSERT_TRUE(bDone.await());
    EXPECT_EQ(refused.load(), 1);
}

TEST(SerialQueueTest, SyncOntoItselfThrowsInsteadOfDeadlocking) {
    auto q = makeSerialQueue("self");
    bool threw = false;
    testing_support::finishWithin([&] {
        q->sync([&] {
            try {
                q->sync([] {});
            } catch (const std::logic_error&) {
                threw = true;
            }
        });
    }, "the sync onto itself");
    EXPECT_TRUE(threw);
    // The queue is still usable.
    bool ran = false;
    q->sync([&] { ran = true; });
    EXPECT_TRUE(ran);
}

// Behaviour common to serial and concurrent queues.
class QueueKindTest : public testing::TestWithParam<bool> {
protected:
    QueuePtr make(const std::string& label) {
        return GetParam() ? makeSerialQueue(label, QoS::utility) : makeConcurrentQueue(label, QoS::utility);
    }
};

TEST_P(QueueKindTest, SyncOnIdleQueueRunsInlineWithTheQueuesSpecific) {
    auto q = make("inline");
    q->setSpecific(kNumberKey, std::make_shared<int>(7));
    std::thread::id ranOn;
    std::shared_ptr<int> value;
    std::shared_ptr<std::string> other;
    std::string label;
    q->sync([&] {
        ranOn = std::this_thread::get_id();
        value = getSpecific(kNumberKey);
        other = getSpecific(kOtherKey);
        label = currentQueueLabel();
    });
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, 7);
    EXPECT_FALSE(other) << "a key the queue has no value for";
    EXPECT_EQ(label, "inline");
    EXPECT_FALSE(getSpecific(kNumberKey)) << "outside the block the test thread runs no queue";
}

TEST_P(QueueKindTest, AsyncItemsSeeTheirQueuesSpecificAndNestedSyncSeesTheInnerOne) {
    auto outer = make("outer");
    auto inner = makeSerialQueue("inner");
    outer->setSpecific(kNumberKey, std::make_shared<int>(1));
    inner->setSpecific(kNumberKey, std::make_shared<int>(2));
    std::vector<int> seen;
    Flag done;
    outer->async([&] {
        seen.push_back(*getSpecific(kNumberKey));
        inner->sync([&] { seen.push_back(*getSpecific(kNumberKey)); });
        seen.push_back(*getSpecific(kNumberKey));
        done.set();
    });
    ASSERT_TRUE(done.await());
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 1}));
    outer->setSpecific(kNumberKey, std::shared_ptr<int>());
    std::shared_ptr<int> afterUnbind;
    outer->sync([&] { afterUnbind = getSpecific(kNumberKey); });
    EXPECT_FALSE(afterUnbind);
}

TEST_P(QueueKindTest, BarrierSyncSeesEveryEarlierItem) {
    auto q = make("flush");
    std::atomic<int> done{0};
    for (int i = 0; i < 500; ++i) q->async([&] { ++done; });
    int seen = -1;
    testing_support::finishWithin([&] { q->syncBarrier([&] { seen = done.load(); }); }, "the barrier");
    EXPECT_EQ(seen, 500);
}

TEST_P(QueueKindTest, ExceptionsReachSyncCallersAndAsyncOnesLeaveTheGroup) {
    auto q = make("throws");
    EXPECT_THROW(q->sync([] { throw std::runtime_error("boom"); }), std::runtime_error);
    Group g;
    q->async(g, [] { throw std::runtime_error("logged and dropped"); });
    EXPECT_TRUE(g.wait(kPatience));
    bool ran = false;
    testing_support::finishWithin([&] { q->sync([&] { ran = true; }); }, "the sync after a throw");
    EXPECT_TRUE(ran) << "the queue goes on after a block threw";
}

INSTANTIATE_TEST_SUITE_P(SerialAndConcurrent, QueueKindTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "Serial" : "Concurrent"; });

TEST(SpecificKeyTest, NothingOnAPlainThreadOrAfterAnItem) {
    auto q = makeSerialQueue("bound");
    q->setSpecific(kNumberKey, std::make_shared<int>(3));
    EXPECT_EQ(*q->specific(kNumberKey), 3);
    std::shared_ptr<int> onThread = std::make_shared<int>(0);
    std::thread([&] { onThread = getSpecific(kNumberKey); }).join();
    EXPECT_FALSE(onThread);
    EXPECT_EQ(currentQueueLabel(), "");
}

}  // namespace
