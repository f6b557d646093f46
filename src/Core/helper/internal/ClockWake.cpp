#include "Core/helper/internal/ClockWake.h"

#include "platform/Clock.h"

#include <set>

namespace Core::internal {

namespace {

struct Waiters {
    std::mutex mutex;
    std::set<ClockWake*> list;
};

Waiters& waiters() {
    // Never destroyed: the clock's listener outlives every static.
    static Waiters* all = new Waiters;
    return *all;
}

}  // namespace

ClockWake::ClockWake(std::mutex& mutex, std::condition_variable& changed) : _mutex(mutex), _changed(changed) {
    static std::once_flag listening;
    std::call_once(listening, [] {
        platform::addTimeChangeListener([] {
            std::lock_guard lock(waiters().mutex);
            for (ClockWake* wake : waiters().list) {
                { std::lock_guard waiting(wake->_mutex); }
                wake->_changed.notify_all();
            }
        });
    });
    std::lock_guard lock(waiters().mutex);
    waiters().list.insert(this);
}

ClockWake::~ClockWake() {
    std::lock_guard lock(waiters().mutex);
    waiters().list.erase(this);
}

}  // namespace Core::internal
