// FileFinder on a generated macOS-like home: 300 applications, each with a
// bundle, a cache folder, logs, an Application Support folder, a container
// and preferences (about 100,000 entries in all), and a rule document with
// one entry per application plus the base rule.
//
// Listings and existence checks are counted by a FileSystem wrapper handed
// to the finder (its test seam), not by the finder itself.
//
//   BM_FirstPass    a fresh cache, one find per identifier for all 300
//   BM_SecondPass   the same 300 finds again on the warm cache
//   BM_MakeAppFiles sizing every hit of a pass (directories summed)
#include "AppCorpus.h"

#include "Core/finder/FileFinder.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using bench_support::CountingFileSystem;
using bench_support::Corpus;
using bench_support::corpus;

// One find per identifier; returns the number of hits.
long fullPass(Core::FileFinder& finder, const Corpus& c, std::vector<Core::AppFileInfo>* keep = nullptr) {
    long hits = 0;
    for (const auto& id : c.ids) {
        auto wanted = c.rule->matcherIDs(id);
        finder.find([&](Core::MatcherID m) { return wanted.contains(m); },
                    [&](const auto& hitID, const auto& info, const auto& kind, const auto&) {
                        ++hits;
                        if (keep) keep->push_back({info, kind, Core::App::app(hitID.value_or(""))});
                    });
    }
    return hits;
}

void report(benchmark::State& state, const CountingFileSystem& fs, long hits, long iterations) {
    state.counters["listings"] = static_cast<double>(fs.listings) / static_cast<double>(iterations);
    state.counters["distinctListed"] = static_cast<double>(fs.listedFolders.size());
    state.counters["existenceChecks"] = static_cast<double>(fs.existenceChecks) / static_cast<double>(iterations);
    state.counters["hits"] = static_cast<double>(hits) / static_cast<double>(iterations);
    state.counters["entries"] = static_cast<double>(corpus().entries);
}

void BM_FirstPass(benchmark::State& state) {
    Corpus& c = corpus();
    auto fs = std::make_shared<CountingFileSystem>();
    long hits = 0, iterations = 0;
    for (auto _ : state) {
        Core::FileFinder finder(*c.rule, fs);
        hits += fullPass(finder, c);
        ++iterations;
    }
    // Every iteration has a cache of its own: a folder listed once per
    // iteration shows as listings == distinctListed.
    report(state, *fs, hits, iterations);
}
BENCHMARK(BM_FirstPass)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_SecondPass(benchmark::State& state) {
    Corpus& c = corpus();
    auto fs = std::make_shared<CountingFileSystem>();
    Core::FileFinder finder(*c.rule, fs);
    fullPass(finder, c);
    fs->reset();
    long hits = 0, iterations = 0;
    for (auto _ : state) {
        hits += fullPass(finder, c);
        ++iterations;
    }
    report(state, *fs, hits, iterations);
}
BENCHMARK(BM_SecondPass)->Unit(benchmark::kMillisecond)->Iterations(20);

void BM_MakeAppFiles(benchmark::State& state) {
    Corpus& c = corpus();
    long files = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Core::FileFinder finder(*c.rule);
        std::vector<Core::AppFileInfo> hits;
        fullPass(finder, c, &hits);
        state.ResumeTiming();
        files += static_cast<long>(finder.makeAppFiles(hits).size());
    }
    state.counters["files"] = benchmark::Counter(static_cast<double>(files), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_MakeAppFiles)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
