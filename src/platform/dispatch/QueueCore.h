#pragma once
// The state and scheduling of one queue. Serial queues are strands: while
// a serial queue has work, exactly one pool job (or one inline sync) owns it
// and drains it in order. Concurrent queues hand each runnable item to the
// pool as a job of its own; a barrier stays at the front of the line until
// the items before it have finished. The main queue is drained by the main
// loop instead of the pool.

#include "platform/Dispatch.h"
#include "platform/dispatch/Mutex.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <thread>
#include <unordered_map>
#include <vector>

namespace platform::dispatch::internal {

// A caller of sync waiting for its block to run elsewhere.
struct SyncWait {
    Mutex mutex;
    std::condition_variable cv;
    bool done GUARDED_BY(mutex) = false;
    std::exception_ptr error GUARDED_BY(mutex);
};

struct Item {
    std::function<void()> block;
    WorkItemPtr workItem;                        // runs instead of `block` when set
    const std::function<void()>* syncBlock = nullptr;  // the sync caller's block
    std::shared_ptr<SyncWait> sync;             // told when the item has run
    std::shared_ptr<GroupState> group;          // left when the item has run
    bool barrier = false;
};

enum class Kind { serial, concurrent, global, main };

class QueueCore : public std::enable_shared_from_this<QueueCore> {
public:
    QueueCore(std::string label, QoS qos, Kind kind);

    const std::string& label() const { return _label; }
    QoS qos() const { return _qos; }
    Kind kind() const { return _kind; }

    void async(Item item) EXCLUDES(_mutex);
    // Runs `block` (or `workItem`) and waits for it; see Dispatch.h.
    void sync(const std::function<void()>* block, const WorkItemPtr& workItem, bool barrier)
        EXCLUDES(_mutex);

    void setSpecific(const void* key, std::shared_ptr<void> value) EXCLUDES(_specificMutex);
    std::shared_ptr<void> specific(const void* key) EXCLUDES(_specificMutex);

    // The main loop (main queue only), on the main thread. Runs items until
    // a stop was asked (when `honourStop`), `predicate` holds (checked first,
    // after each item and on every wake-up) or `deadline` passes by the
    // installed clock. Returns whether the predicate held.
    bool runMainLoop(const std::function<bool()>* predicate, Clock::TimePoint deadline,
                     bool honourStop) EXCLUDES(_mutex);
    void stopMainLoop() EXCLUDES(_mutex);
    void wakeMainLoop() EXCLUDES(_mutex);

    // The thread running an item of this serial queue, or none: set and
    // cleared by FrameScope, read to find cycles of sync waits.
    void setRunner(std::thread::id runner) { _runner.store(runner); }
    std::thread::id runner() const { return _runner.load(); }

private:
    // Whether a sync may run its block on the caller's thread now; if so,
    // claims the queue for it. Throws std::logic_error when the block would
    // have to wait for the very item that makes the call.
    bool claimInline(bool barrier) EXCLUDES(_mutex);
    // Runs a claimed sync block here, then hands the queue on.
    void runInline(const std::function<void()>* block, const WorkItemPtr& workItem, bool barrier)
        EXCLUDES(_mutex);
    // Gives back what claimInline took and starts what waited behind it.
    void releaseInline(bool barrier) EXCLUDES(_mutex);
    // Queues a sync block and waits, as a blocking call, until it has run.
    void syncQueued(const std::function<void()>* block, const WorkItemPtr& workItem, bool barrier)
        EXCLUDES(_mutex);
    // Runs an item on this thread with this queue as the current queue.
    void runItem(Item& item);
    void drainSerial() EXCLUDES(_mutex);
    void runConcurrent(Item& item) EXCLUDES(_mutex);
    // Moves the items a concurrent queue may start now into `out`.
    void takeRunnable(std::vector<Item>& out) REQUIRES(_mutex);
    // Hands a serial drain or concurrent items to the pool (after unlocking).
    void scheduleDrain();
    void schedule(std::vector<Item>& items);

    const std::string _label;
    const QoS _qos;
    const Kind _kind;

    Mutex _mutex;
    std::deque<Item> _items GUARDED_BY(_mutex);
    bool _owned GUARDED_BY(_mutex) = false;  // serial: a drain or an inline sync holds the strand
    size_t _running GUARDED_BY(_mutex) = 0;  // concurrent: items running
    bool _barrierRunning GUARDED_BY(_mutex) = false;
    int _stopRequests GUARDED_BY(_mutex) = 0;  // main
    std::condition_variable _mainCv;          // main: work or a stop arrived

    Mutex _specificMutex;
    std::unordered_map<const void*, std::shared_ptr<void>> _specifics GUARDED_BY(_specificMutex);

    std::atomic<std::thread::id> _runner{};
};

// The queues this thread is running items of, innermost first.
struct Frame {
    QueueCore* queue;
    Frame* outer;
};
Frame* currentFrame();
bool isRunningOn(const QueueCore* queue);

class FrameScope {
public:
    explicit FrameScope(QueueCore* queue);
    ~FrameScope();
    FrameScope(const FrameScope&) = delete;
    FrameScope& operator=(const FrameScope&) = delete;

private:
    Frame _frame;
    std::thread::id _outerRunner;
};

// Leaves a group on behalf of an item (Group.cpp).
void leaveGroup(std::shared_ptr<GroupState> group);

}  // namespace platform::dispatch::internal
