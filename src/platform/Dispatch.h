#pragma once
// Dispatch: the platform's dispatch queues on std::thread. Serial and
// concurrent queues, global queues, the main queue (drained by the thread
// the host makes the main thread), work items, groups, semaphores, timers
// (asyncAfter) and queue-specific keys.
//
// Guarantees the library relies on:
// - A serial queue runs one item at a time, in the order they were queued
//   (FIFO), and an item sees every write of the items before it. Serial
//   queues are strands over one shared worker pool, not threads of their own.
// - A concurrent queue runs its items in parallel, started in FIFO order. A
//   barrier waits until every item queued before it has finished, runs
//   alone, and holds back every item queued after it. On a serial queue and
//   on the global queues a barrier is an ordinary item (as on the platform).
// - sync waits for its block. It runs the block inline on the caller's
//   thread when the queue allows it: a serial queue that is idle, or a
//   concurrent queue with no barrier running or pending. sync onto the main
//   queue from the main thread runs inline; from any other thread it waits
//   until the main loop runs it. sync onto a queue that the caller is
//   already running on, where it would deadlock, throws std::logic_error.
// - A cancelled work item that has not started never runs; one that has
//   started finishes.
// - asyncAfter never runs a block earlier than asked, by the installed clock
//   (platform::clock()); blocks due at the same time run in the order they
//   were scheduled.
// - Workers may block (semaphores, groups, sync, hops to the main queue,
//   waiting for an operation queue): every waiting primitive here marks its
//   worker as blocked (ScopedBlockingCall), and the pool then starts another
//   worker while work is queued, up to a hard cap of 256 threads. Idle
//   workers retire after a while.
// - Quality of service is carried and reported, not enforced: Linux gives an
//   unprivileged process no way to raise a thread's priority back once it
//   has been lowered, so every worker runs at the process's priority and the
//   pool serves queues in the order their work arrived.
// - A block that throws on an asynchronous path is logged and dropped; the
//   queue goes on. An exception from a sync block reaches the sync caller.
//
// Threading: every function and method here may be called from any thread,
// except runMainLoop/runMainLoopUntil (main thread only).
//
//   using namespace platform::dispatch;
//   auto q = makeSerialQueue("FileFinderContext.serializedQueue");
//   q->async([] { /* work */ });
//   bool v = false; q->sync([&] { v = true; });
//   mainQueue()->async([] { /* on the main thread */ });
//   runMainLoopUntil([&] { return done; }, std::chrono::seconds(10));

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace platform::dispatch {

enum class QoS { userInteractive, userInitiated, defaultQoS, utility, background, unspecified };
// "userInteractive", "userInitiated", "default", "utility", "background", "unspecified".
const char* toString(QoS qos);

class Queue;
class Group;
class WorkItem;
using QueuePtr = std::shared_ptr<Queue>;
using WorkItemPtr = std::shared_ptr<WorkItem>;

namespace internal {
class QueueCore;
struct GroupState;
struct SemaphoreState;
struct WorkItemState;
// The value bound to `key` on the queue whose item runs on this thread.
std::shared_ptr<void> currentSpecific(const void* key);
}  // namespace internal

// A process-wide key for values bound to queues. Keys are compared by
// address: make each one a static (or otherwise long-lived) object.
template <class T>
class SpecificKey {
public:
    SpecificKey() = default;
    SpecificKey(const SpecificKey&) = delete;
    SpecificKey& operator=(const SpecificKey&) = delete;
    const void* id() const { return this; }
};

class Queue {
public:
    // Made by the factory functions below.
    explicit Queue(std::shared_ptr<internal::QueueCore> core);
    ~Queue();
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    const std::string& label() const;
    QoS qos() const;
    bool isSerial() const;  // true for serial queues and the main queue

    void async(std::function<void()> block);
    // A cancelled item that has not started never runs.
    void async(const WorkItemPtr& item);
    // Enters `group` now and leaves it once the block has run (also if it threw).
    void async(Group& group, std::function<void()> block);
    // Waits until `block` has run; see the header banner for when it runs
    // inline. Rethrows what the block threw; throws std::logic_error where
    // waiting would deadlock the caller.
    void sync(const std::function<void()>& block);
    void sync(const WorkItemPtr& item);

    void asyncBarrier(std::function<void()> block);
    void syncBarrier(const std::function<void()>& block);

    // Queues `block` once `delay` has passed by the installed clock; never
    // earlier. A delay of zero, below zero or NaN queues it at once; one too
    // large for the clock never comes, and the block is dropped.
    void asyncAfter(std::chrono::duration<double> delay, std::function<void()> block);
    void asyncAfter(std::chrono::duration<double> delay, const WorkItemPtr& item);

    // Binds `value` to this queue under `key` (null unbinds).
    template <class T>
    void setSpecific(const SpecificKey<T>& key, std::shared_ptr<T> value) {
        setSpecificRaw(key.id(), std::static_pointer_cast<void>(std::move(value)));
    }
    // The value bound to this queue under `key`, or null.
    template <class T>
    std::shared_ptr<T> specific(const SpecificKey<T>& key) const {
        return std::static_pointer_cast<T>(specificRaw(key.id()));
    }

    const std::shared_ptr<internal::QueueCore>& coreForInternalUse() const { return _core; }

private:
    void setSpecificRaw(const void* key, std::shared_ptr<void> value);
    std::shared_ptr<void> specificRaw(const void* key) const;

    std::shared_ptr<internal::QueueCore> _core;
};

QueuePtr makeSerialQueue(std::string label, QoS qos = QoS::unspecified);
QueuePtr makeConcurrentQueue(std::string label, QoS qos = QoS::unspecified);
// The process-wide concurrent queue of a quality of service (unspecified
// gives the default one). Barriers on it are plain items.
QueuePtr globalQueue(QoS qos = QoS::defaultQoS);
// The queue that the main loop drains, on the main thread.
QueuePtr mainQueue();

// The value bound to `key` on the queue whose item is running on this thread
// (also inside a sync block run inline); null on a queue without it and on a
// thread that runs no queue's item.
template <class T>
std::shared_ptr<T> getSpecific(const SpecificKey<T>& key) {
    return std::static_pointer_cast<T>(internal::currentSpecific(key.id()));
}
// The label of the queue whose item is running on this thread, or "".
std::string currentQueueLabel();

// The main thread: the thread that first called runMainLoop/runMainLoopUntil
// or declareMainThread(). Before either, no thread is the main thread.
bool isMainThread();
// Makes the calling thread the main thread. Throws std::logic_error if
// another thread already is.
void declareMainThread();
// Runs main-queue items on this thread until stopMainLoop(). A stop asked
// while no loop runs ends the next runMainLoop at once. Throws
// std::logic_error on a thread other than the main thread.
void runMainLoop();
void stopMainLoop();
// Runs main-queue items until `predicate` holds (checked first, after each
// item and on every wake-up) or `timeout` has passed by the installed clock.
// Returns whether the predicate held. Ignores stopMainLoop().
bool runMainLoopUntil(std::function<bool()> predicate, std::chrono::duration<double> timeout);
// Wakes the main loop so that runMainLoopUntil checks its predicate again,
// for state changed outside the main queue.
void wakeMainLoop();

// A block that can be cancelled before it starts and waited for.
class WorkItem {
public:
    explicit WorkItem(std::function<void()> block);
    ~WorkItem();
    WorkItem(const WorkItem&) = delete;
    WorkItem& operator=(const WorkItem&) = delete;

    // Runs the block on this thread unless the item is cancelled; rethrows
    // what the block threw.
    void perform();
    // Keeps the item from starting; a run that has begun goes on.
    void cancel();
    bool isCancelled() const;
    // Waits until the item has run, or was cancelled and is not running.
    void wait();
    // The same with a timeout by the installed clock; false when timed out.
    bool wait(std::chrono::duration<double> timeout);

private:
    std::shared_ptr<internal::WorkItemState> _state;
};

// Counts outstanding work; notifies or wakes waiters when it drops to zero.
class Group {
public:
    Group();
    ~Group();
    Group(const Group&) = delete;
    Group& operator=(const Group&) = delete;

    void enter();
    // Throws std::logic_error when there was no matching enter().
    void leave();
    // Waits until the group is empty; false when `timeout` (installed clock)
    // passed first.
    bool wait(std::chrono::duration<double> timeout);
    void wait();
    // Queues `block` on `queue` once the group is empty (at once if it is).
    void notify(const QueuePtr& queue, std::function<void()> block);

    const std::shared_ptr<internal::GroupState>& stateForInternalUse() const { return _state; }

private:
    std::shared_ptr<internal::GroupState> _state;
};

// A counting semaphore.
class Semaphore {
public:
    // `value` below zero throws std::invalid_argument.
    explicit Semaphore(long value);
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void signal();
    void wait();
    // false when `timeout` (installed clock) passed before a signal came.
    bool wait(std::chrono::duration<double> timeout);

private:
    std::shared_ptr<internal::SemaphoreState> _state;
};

// Holds a semaphore used as a lock for the life of the scope: waits on
// construction, signals on destruction, also when an exception leaves it.
class SemaphoreGuard {
public:
    explicit SemaphoreGuard(Semaphore& semaphore) : _semaphore(semaphore) { _semaphore.wait(); }
    ~SemaphoreGuard() { _semaphore.signal(); }
    SemaphoreGuard(const SemaphoreGuard&) = delete;
    SemaphoreGuard& operator=(const SemaphoreGuard&) = delete;

private:
    Semaphore& _semaphore;
};

// Marks the current pool worker as blocked for the life of the scope, so
// that the pool may start another worker while work is queued. Nested
// markers count once. Does nothing on threads that aren't pool workers.
// Wrap any wait that may last (a directory walk, a process, a lock held by
// another queue's item).
class ScopedBlockingCall {
public:
    ScopedBlockingCall();
    ~ScopedBlockingCall();
    ScopedBlockingCall(const ScopedBlockingCall&) = delete;
    ScopedBlockingCall& operator=(const ScopedBlockingCall&) = delete;

private:
    bool _counted;
};

// Test hooks on the worker pool.
struct PoolStatsForTesting {
    size_t workers = 0;  // threads alive
    size_t idle = 0;     // waiting for work
    size_t blocked = 0;  // inside a ScopedBlockingCall
    size_t queued = 0;   // jobs waiting for a worker
    size_t activeLimit = 0;  // workers that run at once when none blocks
    size_t hardCap = 0;
};
PoolStatsForTesting poolStatsForTesting();
// Waits (in real time, a test's safety net) until `predicate` holds for the
// pool's figures; false on timeout.
bool waitForPoolForTesting(const std::function<bool(const PoolStatsForTesting&)>& predicate,
                           std::chrono::duration<double> timeout);
// How long an idle worker waits for work before it retires (default 10 s, real time).
void setIdleWorkerTimeoutForTesting(std::chrono::duration<double> timeout);
// Timers scheduled and not yet fired or cancelled.
size_t pendingTimersForTesting();

}  // namespace platform::dispatch
