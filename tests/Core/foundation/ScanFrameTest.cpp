#include "Core/foundation/DUAsyncOperation.h"
#include "Core/foundation/FileFinderContext.h"
#include "Core/foundation/MacApp.h"
#include "Core/foundation/Progress.h"
#include "Core/foundation/ValueObservable.h"
#include "platform/Clock.h"
#include "platform/Dispatch.h"
#include "platform/OperationQueue.h"
#include "support/Await.h"
#include "support/MainLoopPump.h"
#include "support/ScopedSimulatedClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

namespace dispatch = platform::dispatch;
using namespace std::chrono_literals;

namespace {

using testing_support::pumpMainLoopUntil;

// Runs the main loop (this thread) against a simulated clock. Every test
// waits for the deliveries it caused, so none outlives it.
class ScanFrameTest : public ::testing::Test {
protected:
    void drainMain() { ASSERT_TRUE(testing_support::drainMainQueue()); }
    testing_support::ScopedSimulatedClock scopedClock;
    platform::SimulatedClock& clock = scopedClock.get();
};

}  // namespace

TEST_F(ScanFrameTest, ObservableDeliversTheFirstOfABurstAfterTheInterval) {
    std::vector<int> delivered;
    std::vector<bool> onMain;
    Core::ValueObservable<int> observable([&](int v) {
        delivered.push_back(v);
        onMain.push_back(dispatch::isMainThread());
    });
    int providerCalls = 0;
    observable.update([&] { ++providerCalls; return 1; });
    clock.advance(1ms);
    observable.update([&] { ++providerCalls; return 2; });
    EXPECT_EQ(providerCalls, 1) << "a dropped update never asks for its value";

    drainMain();
    clock.advance(28ms);
    drainMain();
    EXPECT_TRUE(delivered.empty()) << "delivered before 0.03 s had passed";

    clock.advance(2ms);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return !delivered.empty(); }));
    EXPECT_EQ(delivered, std::vector<int>{1});
    EXPECT_EQ(onMain, std::vector<bool>{true});

    // Right after the delivery the next update goes through again.
    observable.update([&] { return 3; });
    clock.advance(30ms);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return delivered.size() == 2; }));
    EXPECT_EQ(delivered.back(), 3);
}

TEST_F(ScanFrameTest, ProgressArithmetic) {
    std::vector<double> fractions;
    Core::Progress progress({2, 3, 5}, [&](double f) { fractions.push_back(f); });
    EXPECT_EQ(progress.total(), 10);
    EXPECT_EQ(progress.currentIndex(), -1);

    progress.finishPart();
    EXPECT_EQ(progress.currentIndex(), 0);
    EXPECT_EQ(progress.current(), 2);
    EXPECT_DOUBLE_EQ(*progress.finishedFraction(), 0.2);
    clock.advance(30ms);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return fractions.size() == 1; }));
    EXPECT_DOUBLE_EQ(fractions[0], 0.2);

    progress.partTotal = 4;
    progress.partProgress = 1;
    EXPECT_DOUBLE_EQ(*progress.partFraction(), 0.275);
    progress.reportPart();
    clock.advance(30ms);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return fractions.size() == 2; }));
    EXPECT_DOUBLE_EQ(fractions[1], 0.275);

    progress.finishPart();
    EXPECT_EQ(progress.partTotal, 0);
    EXPECT_EQ(progress.partProgress, 0);
    progress.finishPart();
    EXPECT_DOUBLE_EQ(*progress.finishedFraction(), 1.0);
    // The first of those two reports is on its way; let it land before the
    // block's captures go out of scope.
    clock.advance(30ms);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return fractions.size() == 3; }));
    EXPECT_DOUBLE_EQ(fractions[2], 0.5);
}

TEST_F(ScanFrameTest, ProgressZeroCasesPublishNothing) {
    int published = 0;
    Core::Progress empty({}, [&](double) { ++published; });
    empty.finishPart();
    empty.reportPart();
    EXPECT_EQ(empty.currentIndex(), -1);

    Core::Progress zeroTotal({0, 0}, [&](double) { ++published; });
    zeroTotal.finishPart();
    zeroTotal.partTotal = 3;
    zeroTotal.reportPart();
    EXPECT_FALSE(zeroTotal.finishedFraction().has_value());

    Core::Progress one({5}, [&](double) { ++published; });
    one.reportPart();  // partTotal 0
    EXPECT_FALSE(one.partFraction().has_value());
    one.finishPart();
    one.partTotal = 1;
    one.reportPart();  // past the last part
    EXPECT_FALSE(one.partFraction().has_value());
    one.finishPart();  // past the last part: nothing moves
    EXPECT_EQ(one.currentIndex(), 0);

    clock.advance(1s);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return published >= 1; }));
    drainMain();
    EXPECT_EQ(published, 1) << "only the one real finishPart publishes";

    EXPECT_EQ(Core::Progress::percentOf(std::numeric_limits<double>::quiet_NaN()), 0);
    EXPECT_EQ(Core::Progress::percentOf(0.999), 99);
    EXPECT_EQ(Core::Progress::percentOf(std::numeric_limits<double>::infinity()), 0);
}

TEST_F(ScanFrameTest, InterruptCancelsWorkAndCallsTheHandler) {
    auto context = Core::FileFinderContext::make([](platform::URL) {});
    EXPECT_FALSE(context->interrupted());
    context->interrupt();
    EXPECT_TRUE(context->interrupted()) << "a read after interrupt() on the same thread sees it";

    auto second = Core::FileFinderContext::make([](platform::URL) {});
    std::atomic<bool> ran{false};
    auto item = std::make_shared<dispatch::WorkItem>([&] { ran = true; });
    second->workItems.push_back(item);
    int handlerCalls = 0;
    second->onInterrupted = [&] { ++handlerCalls; };
    second->interrupt();
    EXPECT_TRUE(item->isCancelled());
    EXPECT_TRUE(second->workItems.empty());
    EXPECT_EQ(handlerCalls, 1);
    EXPECT_TRUE(second->onInterrupted) << "the handler stays set";

    auto queue = dispatch::makeSerialQueue("test");
    queue->async(item);
    queue->sync([] {});
    EXPECT_FALSE(ran) << "a cancelled item never starts";
}

TEST_F(ScanFrameTest, ContextIsFoundThroughTheQueueItRunsOn) {
    auto context = Core::FileFinderContext::make([](platform::URL) {});
    auto bound = dispatch::makeSerialQueue("bound");
    auto unbound = dispatch::makeSerialQueue("unbound");
    bound->setSpecific(Core::FileFinderContext::specificKey(), context);

    std::shared_ptr<Core::FileFinderContext> seenBound, seenUnbound = context;
    bound->sync([&] { seenBound = Core::FileFinderContext::current(); });
    unbound->sync([&] { seenUnbound = Core::FileFinderContext::current(); });
    EXPECT_EQ(seenBound, context);
    EXPECT_EQ(seenUnbound, nullptr);
    EXPECT_EQ(Core::FileFinderContext::current(), nullptr);

    std::shared_ptr<Core::FileFinderContext> seenAsync;
    dispatch::Semaphore done(0);
    bound->async([&] {
        seenAsync = Core::FileFinderContext::current();
        done.signal();
    });
    ASSERT_TRUE(done.wait(testing_support::kPatience));
    EXPECT_EQ(seenAsync, context);
}

TEST_F(ScanFrameTest, LocationReportsReachTheMainThread) {
    std::vector<std::string> seen;
    auto context = Core::FileFinderContext::make([&](platform::URL url) { seen.push_back(url.path()); });
    std::thread worker([&] { context->urlObservable.update([] { return platform::URL::fileURL("/a"); }); });
    worker.join();
    clock.advance(30ms);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return !seen.empty(); }));
    EXPECT_EQ(seen, std::vector<std::string>{"/a"});
}

namespace {

class RecordingOperation : public Core::DUAsyncOperation {
public:
    std::atomic<int> executed{0};
    testing_support::Flag started;
    void complete() { finish(); }

protected:
    void execute() override {
        ++executed;
        started.set();
    }
};

}  // namespace

// A cancelled operation never runs its work; one that ran is executing until
// it completes (from any thread), and its queue learns of that.
TEST_F(ScanFrameTest, AsyncOperationStatesAndTheQueueLearnsOfTheEnd) {
    auto cancelled = std::make_shared<RecordingOperation>();
    cancelled->cancel();
    cancelled->start();
    EXPECT_EQ(cancelled->executed, 0) << "a cancelled operation never runs its work";
    EXPECT_TRUE(cancelled->isFinished());

    platform::OperationQueue queue;
    std::atomic<int> finished{0};
    queue.setOnOperationFinished([&](const std::shared_ptr<platform::Operation>&) { ++finished; });
    auto op = std::make_shared<RecordingOperation>();
    EXPECT_TRUE(op->isAsynchronous());
    queue.addOperation(op);
    ASSERT_TRUE(op->started.await());
    EXPECT_EQ(op->executed, 1);
    EXPECT_TRUE(op->isExecuting());
    EXPECT_EQ(finished, 0) << "still executing after its work returned";
    std::thread([&] { op->complete(); }).join();
    testing_support::finishWithin([&] { queue.waitUntilAllOperationsAreFinished(); }, "the queue");
    EXPECT_TRUE(op->isFinished());
    EXPECT_EQ(finished, 1);
    EXPECT_EQ(queue.operationCount(), 0u);
}

TEST_F(ScanFrameTest, MacAppIdentifiersAreWrittenWholeAndWeakly) {
    auto app = Core::MacApp::make("com.example.Notes", Core::CaseInsensitiveString("Example"));
    EXPECT_TRUE(app->bundleIDs().empty());

    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([app, t] {
            for (int i = 0; i < 50; ++i) {
                auto ids = app->bundleIDs();
                ids.insert(Core::CaseInsensitiveString("id." + std::to_string(t) + "." + std::to_string(i)));
                app->setBundleIDs(ids);
            }
        });
    }
    for (auto& w : writers) w.join();
    auto ids = app->bundleIDs();
    EXPECT_FALSE(ids.empty());
    EXPECT_LE(ids.size(), 200u);

    auto same = app->bundleIDs();
    same.insert("COM.EXAMPLE.NOTES");
    app->setBundleIDs(same);
    EXPECT_TRUE(app->bundleIDs().contains("com.example.notes")) << "a read after a write on one thread sees it";

    std::weak_ptr<Core::MacApp> weak = app;
    app->setBundleIDs({});
    app.reset();
    EXPECT_TRUE(weak.expired()) << "a pending write does not keep the instance alive";
}
