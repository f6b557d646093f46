#include "platform/dispatch/QueueCore.h"

#include <atomic>
#include <stdexcept>
#include <thread>

namespace platform::dispatch {

namespace {

std::atomic<std::thread::id> gMainThread{};

const QueuePtr& mainQueueRef() {
    // Never destroyed: workers may hop to it while the process exits.
    static const QueuePtr* queue = new QueuePtr(std::make_shared<Queue>(
        std::make_shared<internal::QueueCore>("main", QoS::userInteractive, internal::Kind::main)));
    return *queue;
}

internal::QueueCore& mainCore() { return *mainQueueRef()->coreForInternalUse(); }

}  // namespace

QueuePtr mainQueue() { return mainQueueRef(); }

bool isMainThread() { return gMainThread.load() == std::this_thread::get_id(); }

void declareMainThread() {
    std::thread::id none{};
    const std::thread::id self = std::this_thread::get_id();
    if (!gMainThread.compare_exchange_strong(none, self) && none != self)
        throw std::logic_error("dispatch: another thread is already the main thread");
}

void runMainLoop() {
    declareMainThread();
    mainCore().runMainLoop(nullptr, Clock::TimePoint::max(), true);
}

void stopMainLoop() { mainCore().stopMainLoop(); }

bool runMainLoopUntil(std::function<bool()> predicate, std::chrono::duration<double> timeout) {
    declareMainThread();
    if (!predicate) predicate = [] { return false; };
    return mainCore().runMainLoop(&predicate, deadlineAfter(clock().now(), timeout), false);
}

void wakeMainLoop() { mainCore().wakeMainLoop(); }

}  // namespace platform::dispatch
