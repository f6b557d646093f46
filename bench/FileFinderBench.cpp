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
#include "Core/files/FileSystem.h"
#include "Core/finder/FileFinder.h"
#include "Core/rules/RuleManager.h"
#include "support/MacTreeBuilder.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr int kApplications = 300;

struct CountingFileSystem : Core::FileSystem {
    mutable long listings = 0;
    mutable long existenceChecks = 0;
    mutable std::set<std::string> listedFolders;

    std::vector<Core::URLResource> contents(const platform::URL& of,
                                            const std::vector<Core::ResourceKey>& keys) const override {
        ++listings;
        listedFolders.insert(of.path());
        return FileSystem::contents(of, keys);
    }
    bool fileExists(const std::string& path) const override {
        ++existenceChecks;
        return FileSystem::fileExists(path);
    }
    void reset() {
        listings = existenceChecks = 0;
        listedFolders.clear();
    }
};

struct Corpus {
    testing_support::MacTreeBuilder tree;
    std::vector<std::string> ids;
    std::unique_ptr<Core::RuleManager> manager;
    std::unique_ptr<Core::AppFileRule> rule;
    long entries = 0;

    Corpus() {
        tree.useLayout();
        std::string doc = R"("*":
  caches: {cache: ['Lib/Caches/**']}
  logs: {log: ['Lib/Logs/**']}
  support:
    support: ['Lib/Application Support/**']
    container: ['Lib/Containers/**']
    preference: ['Lib/Preferences/*(?<id>.+)\.plist']
)";
        for (int i = 0; i < kApplications; ++i) {
            std::string name = "App" + std::to_string(i);
            std::string id = "com.vendor" + std::to_string(i % 40) + "." + name;
            ids.push_back(id);
            tree.app(name, id)
                .cache(id, 200, 64)
                .log(id, 20, 64)
                .support(name, 60, 64)
                .container(id)
                .preference(id);
            for (int f = 0; f < 40; ++f)
                tree.file("Library/Containers/" + id + "/Data/Library/Caches/" + id + "/blob" + std::to_string(f), "x");
            entries += 5 + 200 + 1 + 20 + 1 + 60 + 1 + 1 + 5 + 40 + 1;  // bundle, folders and files
            doc += id + ":\n  caches: {cache: ['Lib/Caches/" + id + "', 'Lib/Containers/" + id +
                   "/Data/Library/Caches/" + id + "']}\n  logs: {log: ['Lib/Logs/" + id +
                   "']}\n  support:\n    support: ['Lib/Application Support/" + name +
                   "']\n    container: ['Lib/Containers/" + id + "']\n    preference: ['Lib/Preferences/" + id +
                   ".plist', 'Lib/Preferences/ByHost/*" + id + "\\..*\\.plist']\n";
        }
        manager = std::make_unique<Core::RuleManager>(doc, platform::Layout::shared(), "bench");
        rule = std::make_unique<Core::AppFileRule>(*manager, true);
    }
};

Corpus& corpus() {
    static Corpus instance;
    return instance;
}

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
