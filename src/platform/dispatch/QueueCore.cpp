#include "platform/dispatch/QueueCore.h"

#include "platform/dispatch/Pool.h"
#include "platform/dispatch/RunLogged.h"
#include "platform/dispatch/Timers.h"

#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <unordered_map>

namespace platform::dispatch::internal {

namespace {

// A serial queue gives its worker back to the pool after this many items,
// so that one busy strand can't starve the others.
constexpr int kSerialBatch = 64;

thread_local Frame* tlFrame = nullptr;

}  // namespace

Frame* currentFrame() { return tlFrame; }

bool isRunningOn(const QueueCore* queue) {
    for (Frame* f = tlFrame; f; f = f->outer)
        if (f->queue == queue) return true;
    return false;
}

FrameScope::FrameScope(QueueCore* queue) : _frame{queue, tlFrame} {
    tlFrame = &_frame;
    if (queue->kind() == Kind::serial) {
        _outerRunner = queue->runner();
        queue->setRunner(std::this_thread::get_id());
    }
}

FrameScope::~FrameScope() {
    tlFrame = _frame.outer;
    if (_frame.queue->kind() == Kind::serial) _frame.queue->setRunner(_outerRunner);
}

namespace {

// Which thread waits in a sync for which serial queue. A sync that would
// wait for a queue whose runner waits, through any chain of such waits, for
// the caller can never end: it is refused instead.
class SyncWaits {
public:
    // Notes that this thread waits for `queue`; throws std::logic_error when
    // that closes a cycle.
    explicit SyncWaits(const QueueCore* queue) : _self(std::this_thread::get_id()) {
        std::lock_guard lock(mutex());
        const QueueCore* next = queue;
        // A chain is at most as long as the threads that wait.
        for (size_t hops = 0; next != nullptr && hops <= waiting().size(); ++hops) {
            std::thread::id runner = next->runner();
            if (runner == _self)
                throw std::logic_error("dispatch: sync onto queue \"" + queue->label() +
                                       "\" would deadlock: its runner waits for this thread's queue");
            auto it = waiting().find(runner);
            next = it == waiting().end() ? nullptr : it->second;
        }
        waiting()[_self] = queue;
    }
    ~SyncWaits() {
        std::lock_guard lock(mutex());
        waiting().erase(_self);
    }
    SyncWaits(const SyncWaits&) = delete;
    SyncWaits& operator=(const SyncWaits&) = delete;

private:
    static std::mutex& mutex() {
        static auto* m = new std::mutex;
        return *m;
    }
    static std::unordered_map<std::thread::id, const QueueCore*>& waiting() {
        static auto* w = new std::unordered_map<std::thread::id, const QueueCore*>;
        return *w;
    }

    std::thread::id _self;
};

}  // namespace

QueueCore::QueueCore(std::string label, QoS qos, Kind kind)
    : _label(std::move(label)), _qos(qos), _kind(kind) {}

void QueueCore::runItem(Item& item) {
    std::exception_ptr error;
    {
        FrameScope frame(this);
        try {
            if (item.workItem)
                item.workItem->perform();
            else if (item.syncBlock)
                (*item.syncBlock)();
            else if (item.block)
                item.block();
        } catch (...) {
            error = std::current_exception();
        }
    }
    if (error && !item.sync) logThrown("dispatch: a block on queue \"" + _label + "\"", error);
    if (item.group) leaveGroup(item.group);
    if (item.sync) {
        {
            MutexLock lock(item.sync->mutex);
            item.sync->done = true;
            item.sync->error = error;
        }
        item.sync->cv.notify_all();
    }
}

void QueueCore::scheduleDrain() {
    Pool::shared().submit([self = shared_from_this()] { self->drainSerial(); });
}

void QueueCore::schedule(std::vector<Item>& items) {
    for (Item& item : items)
        Pool::shared().submit([self = shared_from_this(), item = std::move(item)]() mutable {
            self->runConcurrent(item);
        });
}

void QueueCore::takeRunnable(std::vector<Item>& out) {
    while (!_items.empty() && !_barrierRunning) {
        Item& front = _items.front();
        if (front.barrier) {
            if (_running > 0) break;
            _barrierRunning = true;
        } else {
            ++_running;
        }
        out.push_back(std::move(front));
        _items.pop_front();
    }
}

void QueueCore::drainSerial() {
    for (int n = 0; n < kSerialBatch; ++n) {
        Item item;
        {
            MutexLock lock(_mutex);
            if (_items.empty()) {
                _owned = false;
                return;
            }
            item = std::move(_items.front());
            _items.pop_front();
        }
        runItem(item);
    }
    // The strand stays owned; it goes to the back of the pool's line.
    scheduleDrain();
}

void QueueCore::runConcurrent(Item& item) {
    runItem(item);
    std::vector<Item> ready;
    {
        MutexLock lock(_mutex);
        if (item.barrier)
            _barrierRunning = false;
        else
            --_running;
        takeRunnable(ready);
    }
    schedule(ready);
}

void QueueCore::async(Item item) {
    switch (_kind) {
    case Kind::main: {
        {
            MutexLock lock(_mutex);
            _items.push_back(std::move(item));
        }
        _mainCv.notify_all();
        return;
    }
    case Kind::serial: {
        bool start = false;
        {
            MutexLock lock(_mutex);
            _items.push_back(std::move(item));
            if (!_owned) start = _owned = true;
        }
        if (start) scheduleDrain();
        return;
    }
    case Kind::global:
        item.barrier = false;
        [[fallthrough]];
    case Kind::concurrent: {
        std::vector<Item> ready;
        {
            MutexLock lock(_mutex);
            _items.push_back(std::move(item));
            takeRunnable(ready);
        }
        schedule(ready);
        return;
    }
    }
}

void QueueCore::sync(const std::function<void()>* block, const WorkItemPtr& workItem, bool barrier) {
    if (_kind == Kind::global) barrier = false;
    if (claimInline(barrier))
        runInline(block, workItem, barrier);
    else
        syncQueued(block, workItem, barrier);
}

bool QueueCore::claimInline(bool barrier) {
    if (_kind == Kind::main) return isMainThread();
    MutexLock lock(_mutex);
    bool claimed;
    if (_kind == Kind::serial) {
        // Not owned means idle: a strand is released only once empty.
        claimed = !_owned;
        if (claimed) _owned = true;
    } else if (barrier) {
        claimed = _items.empty() && _running == 0 && !_barrierRunning;
        if (claimed) _barrierRunning = true;
    } else {
        claimed = _items.empty() && !_barrierRunning;
        if (claimed) ++_running;
    }
    if (!claimed && isRunningOn(this))
        throw std::logic_error("dispatch: sync onto queue \"" + _label + "\" from its own item would deadlock");
    return claimed;
}

void QueueCore::runInline(const std::function<void()>* block, const WorkItemPtr& workItem, bool barrier) {
    std::exception_ptr error;
    {
        FrameScope frame(this);
        try {
            if (workItem)
                workItem->perform();
            else
                (*block)();
        } catch (...) {
            error = std::current_exception();
        }
    }
    if (_kind != Kind::main) releaseInline(barrier);
    if (error) std::rethrow_exception(error);
}

void QueueCore::releaseInline(bool barrier) {
    bool drain = false;
    std::vector<Item> ready;
    {
        MutexLock lock(_mutex);
        if (_kind == Kind::serial) {
            // Items queued meanwhile waited for us; hand them on.
            drain = !_items.empty();
            if (!drain) _owned = false;
        } else {
            if (barrier)
                _barrierRunning = false;
            else
                --_running;
            takeRunnable(ready);
        }
    }
    if (drain) scheduleDrain();
    schedule(ready);
}

void QueueCore::syncQueued(const std::function<void()>* block, const WorkItemPtr& workItem, bool barrier) {
    std::optional<SyncWaits> noted;
    if (_kind == Kind::serial) noted.emplace(this);
    auto wait = std::make_shared<SyncWait>();
    Item item;
    item.syncBlock = block;
    item.workItem = workItem;
    item.sync = wait;
    item.barrier = barrier;
    async(std::move(item));

    ScopedBlockingCall blocking;
    std::exception_ptr error;
    {
        MutexLock lock(wait->mutex);
        while (!wait->done) lock.wait(wait->cv);
        error = wait->error;
    }
    if (error) std::rethrow_exception(error);
}

void QueueCore::setSpecific(const void* key, std::shared_ptr<void> value) {
    std::shared_ptr<void> old;
    MutexLock lock(_specificMutex);
    auto it = _specifics.find(key);
    if (it != _specifics.end()) old = std::move(it->second);
    if (value)
        _specifics[key] = std::move(value);
    else if (it != _specifics.end())
        _specifics.erase(it);
    lock.unlock();  // the old value's destructor runs outside the lock
}

std::shared_ptr<void> QueueCore::specific(const void* key) {
    MutexLock lock(_specificMutex);
    auto it = _specifics.find(key);
    return it == _specifics.end() ? nullptr : it->second;
}

bool QueueCore::runMainLoop(const std::function<bool()>* predicate, Clock::TimePoint deadline,
                            bool honourStop) {
    std::optional<DeadlineWake> wake;
    if (deadline != Clock::TimePoint::max()) wake.emplace(weak_from_this(), _mutex, _mainCv, deadline);
    for (;;) {
        if (predicate && (*predicate)()) return true;
        Item item;
        bool timedOut = false;
        {
            MutexLock lock(_mutex);
            if (honourStop && _stopRequests > 0) {
                _stopRequests = 0;
                return false;
            }
            if (!_items.empty()) {
                item = std::move(_items.front());
                _items.pop_front();
            } else if (clock().now() >= deadline) {
                timedOut = true;
            } else {
                lock.wait(_mainCv);
                continue;  // look at the predicate again after every wake-up
            }
        }
        if (timedOut) return predicate && (*predicate)();
        runItem(item);
    }
}

void QueueCore::stopMainLoop() {
    {
        MutexLock lock(_mutex);
        ++_stopRequests;
    }
    _mainCv.notify_all();
}

void QueueCore::wakeMainLoop() {
    { MutexLock lock(_mutex); }
    _mainCv.notify_all();
}

}  // namespace platform::dispatch::internal
