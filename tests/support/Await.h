#pragma once
// Waiting in tests: a one-shot flag that a test waits on with a generous
// real-time limit, which fails the test instead of hanging it.

#include <chrono>
#include <future>

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

}  // namespace testing_support
