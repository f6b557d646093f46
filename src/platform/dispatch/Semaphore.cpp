#include "platform/dispatch/Wait.h"

#include <stdexcept>

namespace platform::dispatch {

namespace internal {

struct SemaphoreState {
    Mutex mutex;
    std::condition_variable cv;
    long value GUARDED_BY(mutex) = 0;
};

}  // namespace internal

namespace {

bool take(internal::SemaphoreState* s, Clock::TimePoint deadline, const std::shared_ptr<void>& owner) {
    // Called under the state's lock by blockUntil, which the analysis cannot follow.
    return internal::blockUntil(owner, s->mutex, s->cv, deadline, [s]() NO_THREAD_SAFETY_ANALYSIS {
        if (s->value == 0) return false;
        --s->value;
        return true;
    });
}

}  // namespace

Semaphore::Semaphore(long value) : _state(std::make_shared<internal::SemaphoreState>()) {
    if (value < 0) throw std::invalid_argument("dispatch: a semaphore cannot start below zero");
    internal::MutexLock lock(_state->mutex);
    _state->value = value;
}

Semaphore::~Semaphore() = default;

void Semaphore::signal() {
    // The waiter may destroy this semaphore as soon as the count is up: wake
    // it through a reference of our own.
    auto state = _state;
    {
        internal::MutexLock lock(state->mutex);
        ++state->value;
    }
    state->cv.notify_one();
}

void Semaphore::wait() { take(_state.get(), Clock::TimePoint::max(), _state); }

bool Semaphore::wait(std::chrono::duration<double> timeout) {
    return take(_state.get(), deadlineAfter(clock().now(), timeout), _state);
}

}  // namespace platform::dispatch
