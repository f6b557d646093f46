#pragma once
// DUAsyncOperation: the base of the queue-driven disk operations. It is
// asynchronous: it stays executing after execute() returns, until the
// subclass calls finish() when its work ends; its operation queue is told
// then. A cancelled operation never runs its work.
//
// Threading: start() is called by the operation queue; finish() may be
// called from any thread.
//
//   class Walk : public Core::DUAsyncOperation {
//       void execute() override { queue->async([this] { work(); finish(); }); }
//   };

#include "platform/OperationQueue.h"

#include <atomic>
#include <string>

namespace Core {

class DUAsyncOperation : public platform::Operation {
public:
    enum class State { ready, executing, finished };
    // "isReady", "isExecuting", "isFinished".
    static const char* rawValue(State state);

    bool isAsynchronous() const override { return true; }
    bool isExecuting() const override;
    bool isFinished() const override;
    void start() override;
    void main() override;

    State currentState() const { return _currentState.load(); }

protected:
    // The work; nothing in the base class.
    virtual void execute() {}
    // Moves the state to finished and tells the queue (once).
    void finish();

private:
    void setState(State state);
    std::atomic<State> _currentState{State::ready};
};

}  // namespace Core
