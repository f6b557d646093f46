#include "platform/OperationQueue.h"
#include "support/Await.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <vector>

using namespace platform;
using namespace std::chrono_literals;
using dispatch::Semaphore;
using testing_support::kPatience;

namespace {

TEST(OperationQueueTest, NeverRunsMoreThanTheMaximumAtOnce) {
    OperationQueue queue("limited");
    queue.setMaxConcurrentOperationCount(2);
    std::atomic<int> current{0}, peak{0};
    auto enter = [&] {
        const int now = ++current;
        int seen = peak.load();
        while (now > seen && !peak.compare_exchange_weak(seen, now)) {}
    };
    // The first two meet each other, so two do run at once.
    Semaphore a(0), b(0);
    std::atomic<int> met{0};
    queue.addOperation([&] { enter(); a.signal(); if (b.wait(kPatience)) ++met; --current; });
    queue.addOperation([&] { enter(); b.signal(); if (a.wait(kPatience)) ++met; --current; });
    for (int i = 0; i < 40; ++i) queue.addOperation([&] { enter(); --current; });
    testing_support::finishWithin([&] { queue.waitUntilAllOperationsAreFinished(); }, "the queue");
    EXPECT_EQ(met.load(), 2);
    EXPECT_EQ(peak.load(), 2);
    EXPECT_EQ(queue.operationCount(), 0u);
}

TEST(OperationQueueTest, OneAtATimeKeepsTheOrderAdded) {
    OperationQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    std::vector<int> order;  // one operation at a time touches it
    for (int i = 0; i < 50; ++i) queue.addOperation([&, i] { order.push_back(i); });
    testing_support::finishWithin([&] { queue.waitUntilAllOperationsAreFinished(); }, "the queue");
    ASSERT_EQ(order.size(), 50u);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(order[i], i);
}

class CountingOperation : public Operation {
public:
    void main() override { ++mainCalls; }
    std::atomic<int> mainCalls{0};
};

TEST(OperationQueueTest, CancelAllStillStartsAndFinishesEveryOperation) {
    OperationQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    Semaphore started(0), gate(0);
    std::atomic<bool> firstSawCancel{false};
    queue.addOperation([&] {
        started.signal();
        gate.wait();
        firstSawCancel = true;
    });
    std::vector<std::shared_ptr<CountingOperation>> rest;
    for (int i = 0; i < 5; ++i) {
        rest.push_back(std::make_shared<CountingOperation>());
        queue.addOperation(rest.back());
    }
    std::mutex m;
    std::vector<std::shared_ptr<Operation>> finished;
    queue.setOnOperationFinished([&](const std::shared_ptr<Operation>& op) {
        std::lock_guard lock(m);
        finished.push_back(op);
    });
    ASSERT_TRUE(started.wait(kPatience));
    EXPECT_EQ(queue.operationCount(), 6u);
    queue.cancelAllOperations();
    gate.signal();
    testing_support::finishWithin([&] { queue.waitUntilAllOperationsAreFinished(); }, "the queue");
    EXPECT_TRUE(firstSawCancel.load()) << "the running operation finishes its work";
    for (auto& op : rest) {
        EXPECT_TRUE(op->isCancelled());
        EXPECT_TRUE(op->isFinished());
        EXPECT_EQ(op->mainCalls.load(), 0) << "a cancelled operation's main() never runs";
    }
    std::lock_guard lock(m);
    EXPECT_EQ(finished.size(), 6u);
}

// Finishes only when the test says so, on a queue of its own.
class LateOperation : public Operation {
public:
    bool isAsynchronous() const override { return true; }
    void start() override {
        ++starts;
        if (isCancelled()) {
            notifyFinished();
            return;
        }
        work->async([this] {
            release.wait();
            notifyFinished();
        });
        started.set();
    }
    std::atomic<int> starts{0};
    testing_support::Flag started;
    Semaphore release{0};
    dispatch::QueuePtr work = dispatch::makeSerialQueue("late");
};

TEST(OperationQueueTest, AnAsynchronousOperationHoldsItsPlaceUntilItSaysItFinished) {
    OperationQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    auto first = std::make_shared<LateOperation>();
    auto second = std::make_shared<LateOperation>();
    std::mutex m;
    std::vector<Operation*> finished;
    testing_support::Flag firstDone;
    queue.setOnOperationFinished([&](const std::shared_ptr<Operation>& op) {
        std::lock_guard lock(m);
        finished.push_back(op.get());
        if (op == first) firstDone.set();
    });
    queue.addOperation(first);
    queue.addOperation(second);
    // start() has returned but the operation hasn't finished: the second waits.
    ASSERT_TRUE(first->started.await());
    EXPECT_EQ(first->starts.load(), 1);
    EXPECT_EQ(second->starts.load(), 0);
    EXPECT_FALSE(first->isFinished());
    EXPECT_EQ(queue.operationCount(), 2u);
    first->release.signal();
    ASSERT_TRUE(firstDone.await());
    EXPECT_TRUE(first->isFinished());
    second->release.signal();
    testing_support::finishWithin([&] { queue.waitUntilAllOperationsAreFinished(); }, "the queue");
    std::lock_guard lock(m);
    EXPECT_EQ(finished, (std::vector<Operation*>{first.get(), second.get()}));
}

TEST(OperationQueueTest, RejectsBadInputAndSurvivesAThrowingOperation) {
    OperationQueue queue;
    EXPECT_THROW(queue.addOperation(std::shared_ptr<Operation>()), std::invalid_argument);
    auto op = std::make_shared<CountingOperation>();
    queue.addOperation(op);
    EXPECT_THROW(queue.addOperation(op), std::invalid_argument);
    EXPECT_THROW(queue.setMaxConcurrentOperationCount(-2), std::invalid_argument);
    queue.addOperation([] { throw std::runtime_error("logged"); });
    testing_support::finishWithin([&] { queue.waitUntilAllOperationsAreFinished(); }, "the queue");
    testing_support::finishWithin([&] { op->waitUntilFinished(); }, "the operation");
    EXPECT_EQ(op->mainCalls.load(), 1);
    EXPECT_EQ(queue.operationCount(), 0u);
}

TEST(OperationQueueTest, ZeroHoldsOperationsBackUntilRaised) {
    OperationQueue queue;
    queue.setMaxConcurrentOperationCount(0);
    auto op = std::make_shared<CountingOperation>();
    queue.addOperation(op);
    EXPECT_EQ(queue.operationCount(), 1u);
    EXPECT_FALSE(op->isExecuting());
    EXPECT_FALSE(op->isFinished());
    queue.setMaxConcurrentOperationCount(OperationQueue::defaultMaxConcurrentOperationCount);
    testing_support::finishWithin([&] { queue.waitUntilAllOperationsAreFinished(); }, "the queue");
    EXPECT_EQ(op->mainCalls.load(), 1);
}

}  // namespace
