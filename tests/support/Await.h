#pragma once
// Waiting in tests: a one-shot flag that a test waits on with a generous
// real-time limit, which fails the test instead of hanging it, and a call
// run under that limit.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
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

// Runs `fn` on a thread of its own and waits up to `limit` for it to end. A
// call still running then is a hang that can neither be stopped nor left
// running on the test's locals: it is reported and the test program ends, a
// failure rather than a hang for the test runner.
//
//   testing_support::finishWithin([&] { queue->sync([] {}); }, "the sync");
template <class Fn>
void finishWithin(Fn&& fn, const char* what, std::chrono::duration<double> limit = kPatience) {
    Flag done;
    std::thread worker([&] {
        fn();
        done.set();
    });
    if (!done.await(limit)) {
        std::fprintf(stderr, "%s did not end within the patience limit\n", what);
        std::abort();
    }
    worker.join();
}

}  // namespace testing_support
