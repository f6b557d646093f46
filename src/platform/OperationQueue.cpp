#include "platform/OperationQueue.h"

#include "platform/dispatch/RunLogged.h"
#include "platform/dispatch/Wait.h"

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <vector>

namespace platform {

using dispatch::internal::Mutex;
using dispatch::internal::MutexLock;

namespace {

class BlockOperation final : public Operation {
public:
    explicit BlockOperation(std::function<void()> block) : _block(std::move(block)) {}
    void main() override {
        if (_block) _block();
    }

private:
    std::function<void()> _block;
};

}  // namespace

// ---- Operation ----

Operation::~Operation() = default;

void Operation::start() {
    if (!isCancelled()) {
        _executing = true;
        dispatch::internal::runLogged("OperationQueue: an operation", [this] { main(); });
        _executing = false;
    }
    notifyFinished();
}

void Operation::main() {}

void Operation::cancel() { _cancelled = true; }
bool Operation::isCancelled() const { return _cancelled; }

bool Operation::isFinished() const {
    std::lock_guard lock(_mutex);
    return _finished;
}

bool Operation::isExecuting() const { return _executing; }
bool Operation::isAsynchronous() const { return false; }

void Operation::notifyFinished() {
    std::function<void()> tell;
    {
        std::lock_guard lock(_mutex);
        if (_finished) return;
        _finished = true;
        tell = std::move(_onFinished);
        _onFinished = nullptr;
    }
    _cv.notify_all();
    if (tell) tell();
}

void Operation::waitUntilFinished() {
    {
        std::lock_guard lock(_mutex);
        if (_finished) return;
    }
    dispatch::ScopedBlockingCall blocking;
    std::unique_lock lock(_mutex);
    _cv.wait(lock, [this] { return _finished; });
}

// ---- OperationQueue ----

namespace internal {

struct OperationQueueState : std::enable_shared_from_this<OperationQueueState> {
    OperationQueueState(std::string n, dispatch::QoS qos)
        : name(std::move(n)), queue(dispatch::makeConcurrentQueue(name, qos)) {}

    const std::string name;
    const dispatch::QueuePtr queue;
    Mutex mutex;
    std::condition_variable cv;
    std::deque<std::shared_ptr<Operation>> pending GUARDED_BY(mutex);
    std::vector<std::shared_ptr<Operation>> running GUARDED_BY(mutex);
    int maxConcurrent GUARDED_BY(mutex) = OperationQueue::defaultMaxConcurrentOperationCount;
    std::function<void(const std::shared_ptr<Operation>&)> onFinished GUARDED_BY(mutex);

    // Moves the operations that may start now from `pending` to `running`.
    std::vector<std::shared_ptr<Operation>> takeStartable() REQUIRES(mutex) {
        std::vector<std::shared_ptr<Operation>> out;
        while (!pending.empty() && (maxConcurrent < 0 || running.size() < static_cast<size_t>(maxConcurrent))) {
            out.push_back(pending.front());
            running.push_back(std::move(pending.front()));
            pending.pop_front();
        }
        return out;
    }

    void startAll(const std::vector<std::shared_ptr<Operation>>& ops) {
        for (const auto& op : ops)
            queue->async([self = shared_from_this(), op] {
                op->start();
                // A synchronous operation is done when start() returns, even
                // if a subclass's start() forgot to say so.
                if (!op->isAsynchronous()) op->notifyFinished();
            });
    }

    void finished(Operation* raw) {
        std::shared_ptr<Operation> op;
        std::function<void(const std::shared_ptr<Operation>&)> callback;
        {
            MutexLock lock(mutex);
            op = find(raw);
            if (!op) return;
            callback = onFinished;
        }
        // Told before the operation leaves, so that whoever waits for the
        // queue to empty has also seen every callback.
        if (callback) callback(op);
        std::vector<std::shared_ptr<Operation>> next;
        bool drained = false;
        {
            MutexLock lock(mutex);
            auto gone = [raw](const std::shared_ptr<Operation>& o) { return o.get() == raw; };
            // An asynchronous operation may say it finished before it started;
            // the pending list can be long, so it is searched only then.
            if (std::erase_if(running, gone) == 0) std::erase_if(pending, gone);
            next = takeStartable();
            drained = running.empty() && pending.empty();
        }
        // Only those waiting for the queue to empty listen: waking them at
        // every finished operation of a long queue costs a switch each time.
        if (drained) cv.notify_all();
        startAll(next);
    }

    std::shared_ptr<Operation> find(Operation* raw) REQUIRES(mutex) {
        for (const auto& o : running)
            if (o.get() == raw) return o;
        for (const auto& o : pending)
            if (o.get() == raw) return o;
        return nullptr;
    }
};

}  // namespace internal

OperationQueue::OperationQueue(std::string name, dispatch::QoS qos)
    : _state(std::make_shared<internal::OperationQueueState>(std::move(name), qos)) {}

OperationQueue::~OperationQueue() {
    std::deque<std::shared_ptr<Operation>> dropped;
    MutexLock lock(_state->mutex);
    dropped.swap(_state->pending);
    lock.unlock();
}

const std::string& OperationQueue::name() const { return _state->name; }

void OperationQueue::setMaxConcurrentOperationCount(int count) {
    if (count < -1) throw std::invalid_argument("OperationQueue: maximum concurrent operation count below -1");
    std::vector<std::shared_ptr<Operation>> next;
    {
        MutexLock lock(_state->mutex);
        _state->maxConcurrent = count;
        next = _state->takeStartable();
    }
    _state->startAll(next);
}

int OperationQueue::maxConcurrentOperationCount() const {
    MutexLock lock(_state->mutex);
    return _state->maxConcurrent;
}

void OperationQueue::addOperation(std::shared_ptr<Operation> operation) {
    if (!operation) throw std::invalid_argument("OperationQueue: null operation");
    if (operation->_added.exchange(true))
        throw std::invalid_argument("OperationQueue: the operation was already added to a queue");
    {
        std::lock_guard lock(operation->_mutex);
        std::weak_ptr<internal::OperationQueueState> weak = _state;
        Operation* raw = operation.get();
        operation->_onFinished = [weak, raw] {
            if (auto state = weak.lock()) state->finished(raw);
        };
    }
    std::vector<std::shared_ptr<Operation>> next;
    {
        MutexLock lock(_state->mutex);
        _state->pending.push_back(std::move(operation));
        next = _state->takeStartable();
    }
    _state->startAll(next);
}

void OperationQueue::addOperation(std::function<void()> block) {
    addOperation(std::make_shared<BlockOperation>(std::move(block)));
}

void OperationQueue::cancelAllOperations() {
    std::vector<std::shared_ptr<Operation>> all;
    {
        MutexLock lock(_state->mutex);
        all.assign(_state->running.begin(), _state->running.end());
        all.insert(all.end(), _state->pending.begin(), _state->pending.end());
    }
    for (const auto& op : all) op->cancel();
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    auto* s = _state.get();
    dispatch::internal::blockUntil(_state, s->mutex, s->cv, Clock::TimePoint::max(),
                                   [s]() NO_THREAD_SAFETY_ANALYSIS { return s->pending.empty() && s->running.empty(); });
}

size_t OperationQueue::operationCount() const {
    MutexLock lock(_state->mutex);
    return _state->pending.size() + _state->running.size();
}

void OperationQueue::setOnOperationFinished(std::function<void(const std::shared_ptr<Operation>&)> callback) {
    MutexLock lock(_state->mutex);
    _state->onFinished = std::move(callback);
}

}  // namespace platform
