#include "Core/foundation/DUAsyncOperation.h"

#include <cstring>

namespace Core {

const char* DUAsyncOperation::rawValue(State state) {
    switch (state) {
        case State::ready: return "isReady";
        case State::executing: return "isExecuting";
        case State::finished: return "isFinished";
    }
    return "isReady";
}

bool DUAsyncOperation::isExecuting() const {
    return std::strcmp(rawValue(_currentState.load()), rawValue(State::executing)) == 0;
}

bool DUAsyncOperation::isFinished() const {
    return std::strcmp(rawValue(_currentState.load()), rawValue(State::finished)) == 0;
}

void DUAsyncOperation::setState(State state) {
    State old = _currentState.exchange(state);
    // The queue learns of the end once, whoever moved the state there.
    if (state == State::finished && old != State::finished) notifyFinished();
}

void DUAsyncOperation::start() {
    if (isCancelled()) {
        if (_currentState.load() != State::finished) setState(State::finished);
        return;
    }
    if (_currentState.load() != State::ready) setState(State::ready);
    main();
}

void DUAsyncOperation::main() {
    if (isCancelled()) {
        if (_currentState.load() != State::finished) setState(State::finished);
        return;
    }
    if (_currentState.load() != State::executing) setState(State::executing);
    execute();
}

void DUAsyncOperation::finish() { setState(State::finished); }

}  // namespace Core
