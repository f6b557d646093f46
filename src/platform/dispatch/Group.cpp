#include "platform/dispatch/QueueCore.h"
#include "platform/dispatch/Wait.h"

#include <stdexcept>
#include <utility>
#include <vector>

namespace platform::dispatch {

namespace internal {

struct GroupState {
    Mutex mutex;
    std::condition_variable cv;
    long count GUARDED_BY(mutex) = 0;
    std::vector<std::pair<QueuePtr, std::function<void()>>> notifies GUARDED_BY(mutex);
};

// By value: a waiter may destroy the Group as soon as the count reaches zero.
void leaveGroup(std::shared_ptr<GroupState> group) {
    std::vector<std::pair<QueuePtr, std::function<void()>>> due;
    {
        MutexLock lock(group->mutex);
        if (group->count == 0) throw std::logic_error("dispatch: Group::leave without a matching enter");
        if (--group->count > 0) return;
        due.swap(group->notifies);
    }
    group->cv.notify_all();
    for (auto& [queue, block] : due) queue->async(std::move(block));
}

}  // namespace internal

Group::Group() : _state(std::make_shared<internal::GroupState>()) {}
Group::~Group() = default;

void Group::enter() {
    internal::MutexLock lock(_state->mutex);
    ++_state->count;
}

void Group::leave() { internal::leaveGroup(_state); }

bool Group::wait(std::chrono::duration<double> timeout) {
    auto* s = _state.get();
    return internal::blockUntil(_state, s->mutex, s->cv, deadlineAfter(clock().now(), timeout),
                                // Called under the state's lock by blockUntil, which the analysis cannot follow.
                                [s]() NO_THREAD_SAFETY_ANALYSIS { return s->count == 0; });
}

void Group::wait() {
    auto* s = _state.get();
    internal::blockUntil(_state, s->mutex, s->cv, Clock::TimePoint::max(),
                         // Called under the state's lock by blockUntil, which the analysis cannot follow.
                         [s]() NO_THREAD_SAFETY_ANALYSIS { return s->count == 0; });
}

void Group::notify(const QueuePtr& queue, std::function<void()> block) {
    if (!queue) throw std::invalid_argument("dispatch: Group::notify needs a queue");
    {
        internal::MutexLock lock(_state->mutex);
        if (_state->count > 0) {
            _state->notifies.emplace_back(queue, std::move(block));
            return;
        }
    }
    queue->async(std::move(block));
}

}  // namespace platform::dispatch
