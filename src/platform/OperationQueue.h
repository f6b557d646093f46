#pragma once
// Operation and OperationQueue: the platform's operation queue, built on the
// dispatch layer. An OperationQueue starts its operations in the order they
// were added, at most maxConcurrentOperationCount at once (-1: as many as
// the worker pool runs), each on a worker of a private concurrent queue.
//
// A synchronous operation is finished when main() returns. An asynchronous
// one (isAsynchronous() true, start() overridden) is finished when it calls
// notifyFinished(); until then it holds its place in the queue. A cancelled
// operation is still started: start() sees isCancelled() and finishes at
// once, as on the platform.
//
// Threading: every method may be called from any thread. The finished
// callback runs on the thread where the operation finished (a worker, or
// the thread that called notifyFinished()).
//
//   platform::OperationQueue queue;
//   queue.setMaxConcurrentOperationCount(2);
//   queue.addOperation([] { /* work */ });
//   queue.waitUntilAllOperationsAreFinished();

#include "platform/Dispatch.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace platform {

namespace internal {
struct OperationQueueState;
}

class Operation : public std::enable_shared_from_this<Operation> {
public:
    Operation() = default;
    virtual ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    // Runs the operation on this thread: finishes at once when cancelled,
    // otherwise calls main() and finishes. A block that throws is logged and
    // the operation finishes all the same. Asynchronous subclasses override
    // it and call notifyFinished() when their work ends.
    virtual void start();
    // The work; does nothing in the base class.
    virtual void main();
    // Marks the operation cancelled; its work notices through isCancelled().
    virtual void cancel();
    bool isCancelled() const;
    virtual bool isFinished() const;
    virtual bool isExecuting() const;
    virtual bool isAsynchronous() const;
    // Waits until the operation has finished (its worker counts as blocked).
    void waitUntilFinished();

protected:
    // Tells the operation's queue (and waiters) that it has finished. Later
    // calls do nothing.
    void notifyFinished();

private:
    friend class OperationQueue;
    friend struct internal::OperationQueueState;

    std::atomic<bool> _cancelled{false};
    std::atomic<bool> _executing{false};
    std::atomic<bool> _added{false};
    mutable std::mutex _mutex;
    std::condition_variable _cv;
    bool _finished = false;  // guarded by _mutex
    std::function<void()> _onFinished;  // set by the queue; guarded by _mutex
};

class OperationQueue {
public:
    static constexpr int defaultMaxConcurrentOperationCount = -1;

    explicit OperationQueue(std::string name = "OperationQueue",
                            dispatch::QoS qos = dispatch::QoS::defaultQoS);
    // Doesn't wait: the operations added still run to their end (those held
    // back by a maximum count of 0 are dropped unstarted).
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    const std::string& name() const;
    // Below -1 throws std::invalid_argument; 0 holds every operation back.
    void setMaxConcurrentOperationCount(int count);
    int maxConcurrentOperationCount() const;

    // A null operation, or one already added to a queue, throws std::invalid_argument.
    void addOperation(std::shared_ptr<Operation> operation);
    void addOperation(std::function<void()> block);
    // Cancels every operation not yet finished; each is still started.
    void cancelAllOperations();
    // Waits until no operation is left. Called from one of this queue's own
    // operations it would wait forever, as on the platform.
    void waitUntilAllOperationsAreFinished();
    // Operations added and not yet finished.
    size_t operationCount() const;
    // Called once per operation when it has finished, just before it leaves
    // the queue (operationCount() still counts it).
    void setOnOperationFinished(std::function<void(const std::shared_ptr<Operation>&)> callback);

private:
    std::shared_ptr<internal::OperationQueueState> _state;
};

}  // namespace platform
