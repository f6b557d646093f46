#pragma once
// Waiting in tests: a one-shot flag that a test waits on with a generous
// real-time limit, which fails the test instead of hanging it, and a call
// run under that limit.

#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace testing_support {

constexpr std::chrono::seconds kPatience{30};

class Flag {
public:
    void set() { _promise.set_value(); }
    // True once set(); false if `limit` passed first.
    bool await(std::chrono::duration<double> limit = kPatience) {
        return _future.wait_for(limit) == std::future_status::ready;
    }
    bool isSet() { return await(std::chrono::seconds(0)); }

private:
    std::promise<void> _promise;
    std::shared_future<void> _future = _promise.get_future().share();
};

// Runs `fn` on a thread of its own and waits up to `limit` for it to end;
// false when it did not. A thread that never ends is left behind: give `fn`
// shared ownership of what it uses, not references to the test's locals.
template <class Fn>
bool finishesWithin(Fn fn, std::chrono::duration<double> limit = kPatience) {
    auto done = std::make_shared<Flag>();
    std::thread([fn = std::move(fn), done]() mutable {
        fn();
        done->set();
    }).detach();
    return done->await(limit);
}

}  // namespace testing_support
