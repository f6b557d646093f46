// The duplicate index under the load of a large search: 1,000,000 files
// added under 200,000 sizes, then the whole index walked as the search
// walks it. Keys arrive in a random order, as sizes do from a walk.
#include "dff/Duplicate.h"
#include "dff/File.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr int kValues = 1'000'000;
constexpr int kKeys = 200'000;

const std::vector<long long>& keys() {
    static const std::vector<long long> list = [] {
        // Five files for each of exactly 200,000 sizes, shuffled.
        std::vector<long long> out(kValues);
        for (int i = 0; i < kValues; ++i) out[size_t(i)] = (i % kKeys) * 997LL + 1;
        std::shuffle(out.begin(), out.end(), std::mt19937_64(2024));
        return out;
    }();
    return list;
}

// Distinct pointers to stand for files; they are never dereferenced.
dff::File* fakeFile(int i) { return reinterpret_cast<dff::File*>(static_cast<uintptr_t>(i + 1) * 64); }

void BM_AddMillionUnder200kKeys(benchmark::State& state) {
    const auto& list = keys();
    for (auto _ : state) {
        dff::Duplicate<long long, dff::File*> index;
        for (int i = 0; i < kValues; ++i) index.add(list[size_t(i)], fakeFile(i));
        benchmark::DoNotOptimize(index.root);
        state.PauseTiming();
        {
            auto dropped = std::move(index);  // freeing is not what is measured
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_AddMillionUnder200kKeys)->Unit(benchmark::kMillisecond);

void BM_WalkMillionUnder200kKeys(benchmark::State& state) {
    const auto& list = keys();
    dff::Duplicate<long long, dff::File*> index;
    for (int i = 0; i < kValues; ++i) index.add(list[size_t(i)], fakeFile(i));
    for (auto _ : state) {
        size_t nodes = 0, candidates = 0;
        for (auto it = index.begin(); !it.atEnd(); ++it) {
            ++nodes;
            if (it->values.size() > 1) candidates += it->values.size();
        }
        benchmark::DoNotOptimize(candidates);
        state.counters["nodes"] = double(nodes);
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}
BENCHMARK(BM_WalkMillionUnder200kKeys)->Unit(benchmark::kMillisecond);

}  // namespace
