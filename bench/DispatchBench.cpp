// Costs of the dispatch layer: a sync on an idle serial queue (the common
// path of every guarded read in the library), async throughput on serial and
// concurrent queues, and a plain mutex beside them as the floor.
#include "platform/Dispatch.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <mutex>

using namespace platform::dispatch;

namespace {

void BM_SyncOnIdleSerialQueue(benchmark::State& state) {
    auto q = makeSerialQueue("bench.sync");
    long value = 0;
    for (auto _ : state) {
        q->sync([&] { ++value; });
    }
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_SyncOnIdleSerialQueue);

void BM_SyncOnIdleConcurrentQueue(benchmark::State& state) {
    auto q = makeConcurrentQueue("bench.csync");
    long value = 0;
    for (auto _ : state) {
        q->sync([&] { ++value; });
    }
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_SyncOnIdleConcurrentQueue);

// The floor: the same read under a bare mutex.
void BM_MutexGuardedRead(benchmark::State& state) {
    std::mutex m;
    long value = 0;
    for (auto _ : state) {
        std::lock_guard lock(m);
        ++value;
    }
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_MutexGuardedRead);

// `range(0)` blocks queued, then a sync that waits for all of them.
void BM_AsyncSerialThroughput(benchmark::State& state) {
    auto q = makeSerialQueue("bench.serial");
    long counter = 0;
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i) q->async([&] { ++counter; });
        q->sync([] {});
    }
    benchmark::DoNotOptimize(counter);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_AsyncSerialThroughput)->Arg(10000)->UseRealTime();

// `range(0)` blocks on a concurrent queue from `threads` producers, then a
// barrier sync that waits for all of them.
void BM_AsyncConcurrentThroughput(benchmark::State& state) {
    static QueuePtr q = makeConcurrentQueue("bench.concurrent");
    std::atomic<long> counter{0};
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i)
            q->async([&] { counter.fetch_add(1, std::memory_order_relaxed); });
        q->syncBarrier([] {});
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_AsyncConcurrentThroughput)->Arg(10000)->UseRealTime();

// Many serial queues (strands) fed at once share the pool.
void BM_AsyncManySerialQueues(benchmark::State& state) {
    const int queues = static_cast<int>(state.range(0));
    std::vector<QueuePtr> qs;
    for (int i = 0; i < queues; ++i) qs.push_back(makeSerialQueue("bench.strand"));
    std::atomic<long> counter{0};
    constexpr int kPerQueue = 2000;
    for (auto _ : state) {
        Group g;
        for (int n = 0; n < kPerQueue; ++n)
            for (auto& q : qs) q->async(g, [&] { counter.fetch_add(1, std::memory_order_relaxed); });
        g.wait();
    }
    state.SetItemsProcessed(state.iterations() * queues * kPerQueue);
}
BENCHMARK(BM_AsyncManySerialQueues)->Arg(1)->Arg(8)->Arg(64)->UseRealTime();

}  // namespace
