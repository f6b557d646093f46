#pragma once
// ValueObservable: carries a value (a fraction, the current location) from a
// scan thread to the main thread without flooding it. At most one value per
// 0.03 seconds reaches the block, always on the main thread; the value
// delivered is the first of a burst, not the newest, and the last update of
// a scan may be dropped (no final flush exists).
//
// Threading: update() may be called from any thread. The value provider is
// called on the caller's thread, and only when the update goes through, so a
// dropped update costs one synchronous read on a serial queue.
//
//   Core::ValueObservable<double> fraction([](double f) { showProgress(f); });
//   fraction.update([&] { return done / double(total); });

#include "platform/Dispatch.h"

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace Core {

template <class T>
class ValueObservable {
public:
    static constexpr std::chrono::duration<double> kInterval{0.03};

    explicit ValueObservable(std::function<void(T)> block) : _state(std::make_shared<State>(std::move(block))) {}

    // Publishes provider() unless a delivery is already pending.
    template <class Provider>
    void update(Provider&& provider) {
        State& state = *_state;
        bool updating = false;
        state.lockQueue->sync([&] { updating = state.updating; });
        if (updating) return;
        state.lockQueue->async([s = _state] { s->updating = true; });
        T value = std::forward<Provider>(provider)();
        // The pending delivery holds the state, so it lands even when the
        // observable is gone by then, as the block belongs to the scan.
        platform::dispatch::mainQueue()->asyncAfter(kInterval, [s = _state, value = std::move(value)]() mutable {
            if (s->block) s->block(std::move(value));
            s->lockQueue->async([s] { s->updating = false; });
        });
    }

private:
    struct State {
        explicit State(std::function<void(T)> b)
            : block(std::move(b)), lockQueue(platform::dispatch::makeSerialQueue("ValueObservable.update.serializedQueue")) {}
        std::function<void(T)> block;
        bool updating = false;  // guarded by lockQueue
        platform::dispatch::QueuePtr lockQueue;
    };

    std::shared_ptr<State> _state;
};

}  // namespace Core
