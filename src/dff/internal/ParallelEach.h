#pragma once
// forEachInParallel: runs `work(i, worker)` for every index of a range on
// a few threads, the calling thread among them, handing out indices one at
// a time from a shared counter. Each item writes only its own result slot,
// so a caller that then consumes the slots in index order gets what one
// thread would have given, whatever the interleaving. `worker` tells the
// threads apart: its index (below `threads`) picks per-thread scratch, and
// onCaller() is true for the items the calling thread takes, so that
// callbacks bound to that thread are made only there.
//
// Threading: `work` must be safe to run for different indices at once. The
// stop flag is read before each item; a stop leaves the rest undone. The
// first exception thrown by any item ends the handing out and is rethrown
// on the calling thread once all threads have ended.
//
//   std::vector<int> squares(n);
//   dff::internal::forEachInParallel(n, 2, stopped, [&](size_t i, Worker) { squares[i] = int(i * i); });

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace dff::internal {

// The thread an item runs on: 0 is the calling thread.
struct Worker {
    unsigned index;
    bool onCaller() const { return index == 0; }
};

// The threads worth starting for `count` items: the processors (or `most`
// when it is not 0), at most.
inline unsigned parallelThreadsFor(size_t count, unsigned most = 0) {
    unsigned limit = most != 0 ? most : std::max(1u, std::thread::hardware_concurrency());
    return static_cast<unsigned>(std::min<size_t>(limit, std::max<size_t>(count, 1)));
}

template <class Work>
void forEachInParallel(size_t count, unsigned threads, const std::atomic<bool>& stopped, Work&& work) {
    std::atomic<size_t> next{0};
    std::atomic<bool> failed{false};
    std::exception_ptr failure;
    std::mutex failureMutex;
    auto run = [&](Worker worker) {
        try {
            for (size_t i; !stopped && !failed && (i = next.fetch_add(1)) < count;) work(i, worker);
        } catch (...) {
            std::lock_guard lock(failureMutex);
            if (!failure) failure = std::current_exception();
            failed = true;
        }
    };
    std::vector<std::thread> helpers;
    unsigned extra = threads > 1 && count > 1 ? std::min<size_t>(threads, count) - 1 : 0;
    for (unsigned t = 0; t < extra; ++t) {
        try {
            helpers.emplace_back(run, Worker{t + 1});
        } catch (const std::system_error&) {
            break;  // no thread to be had: fewer do the work
        }
    }
    run(Worker{0});
    for (auto& helper : helpers) helper.join();
    if (failure) std::rethrow_exception(failure);
}

}  // namespace dff::internal
