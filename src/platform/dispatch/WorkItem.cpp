#include "platform/dispatch/Wait.h"

#include <atomic>
#include <exception>

namespace platform::dispatch {

namespace internal {

struct WorkItemState {
    explicit WorkItemState(std::function<void()> b) : block(std::move(b)) {}
    const std::function<void()> block;
    std::atomic<bool> cancelled{false};
    Mutex mutex;
    std::condition_variable cv;
    int running GUARDED_BY(mutex) = 0;
    bool finished GUARDED_BY(mutex) = false;
};

}  // namespace internal

namespace {

bool waitItem(const std::shared_ptr<internal::WorkItemState>& state, Clock::TimePoint deadline) {
    auto* s = state.get();
    // Called under the state's lock by blockUntil, which the analysis cannot follow.
    return internal::blockUntil(state, s->mutex, s->cv, deadline, [s]() NO_THREAD_SAFETY_ANALYSIS {
        return s->finished || (s->cancelled.load() && s->running == 0);
    });
}

}  // namespace

WorkItem::WorkItem(std::function<void()> block)
    : _state(std::make_shared<internal::WorkItemState>(std::move(block))) {}
WorkItem::~WorkItem() = default;

void WorkItem::perform() {
    // Our own reference: a waiter may drop the item once it is finished.
    auto state = _state;
    auto* s = state.get();
    {
        internal::MutexLock lock(s->mutex);
        // Checked under the lock so that wait() can't see "cancelled, not
        // running" for a run that is about to begin.
        if (s->cancelled.load()) return;
        ++s->running;
    }
    std::exception_ptr error;
    try {
        if (s->block) s->block();
    } catch (...) {
        error = std::current_exception();
    }
    {
        internal::MutexLock lock(s->mutex);
        --s->running;
        s->finished = true;
    }
    s->cv.notify_all();
    if (error) std::rethrow_exception(error);
}

void WorkItem::cancel() {
    auto state = _state;
    {
        internal::MutexLock lock(state->mutex);
        state->cancelled = true;
    }
    state->cv.notify_all();
}

bool WorkItem::isCancelled() const { return _state->cancelled.load(); }

void WorkItem::wait() { waitItem(_state, Clock::TimePoint::max()); }

bool WorkItem::wait(std::chrono::duration<double> timeout) {
    return waitItem(_state, deadlineAfter(clock().now(), timeout));
}

}  // namespace platform::dispatch
