// AppFileFinder as a host drives it, over the 300-application corpus of
// AppCorpus.h: the application scan (the listing of the application
// folders, loading and folding), then the file scan of every application
// (one rule walk per application on one shared cache, sizes measured on the
// concurrent queue, each report a hop to the main thread). Wall time of
// each, from the start call to its completion on the main loop.
//
// The rule walk's listings are counted by a FileSystem wrapper handed to the
// finder; `distinctListed` is the number of different folders listed, so
// listings == distinctListed means no folder was listed twice.
//
//   BM_Scan      scan() until appFileFinderDidFinishScan
//   BM_AppFiles  startScanAppFiles(all 300) until appFileFinderDidFinishFiles,
//                after a scan that isn't timed; a fresh finder (cold walk
//                cache) per iteration, file sizes measured afresh
#include "AppCorpus.h"

#include "Core/apps/AppFileFinder.h"
#include "platform/Dispatch.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <stdexcept>

namespace {

using bench_support::CountingFileSystem;
using bench_support::Corpus;
using bench_support::corpus;

struct Host final : Core::AppFileFinderDelegate {
    void appFileFinderFoundApp(const Core::CaseInsensitiveString&, const platform::URL&) override {}
    void appFileFinderFoundSubApp(const Core::CaseInsensitiveString&) override {}
    void appFileFinderDidFinishScan(const Core::AppBundleMap& found) override { apps = found; }
    void appFileFinderFoundFiles(const Core::CaseInsensitiveString&, const std::vector<Core::AppFile>& found,
                                 const std::vector<Core::File>&) override {
        files += static_cast<long>(found.size());
        ++reports;
    }
    void appFileFinderDidFinishFiles() override { finished = true; }

    std::optional<Core::AppBundleMap> apps;
    long files = 0;
    long reports = 0;
    bool finished = false;
};

void await(const std::function<bool()>& done) {
    if (!platform::dispatch::runMainLoopUntil(done, std::chrono::minutes(10)))
        throw std::runtime_error("the scan did not finish");
}

struct Run {
    std::shared_ptr<CountingFileSystem> fs = std::make_shared<CountingFileSystem>();
    std::shared_ptr<Core::AppFileFinder> finder = Core::AppFileFinder::make(*corpus().rule, fs);
    std::shared_ptr<Host> host = std::make_shared<Host>();
    Run() { finder->delegate = host; }
    void scan() {
        finder->scan();
        await([&] { return host->apps.has_value(); });
    }
    void appFiles() {
        finder->startScanAppFiles(*host->apps);
        await([&] { return host->finished; });
    }
};

void BM_Scan(benchmark::State& state) {
    corpus();
    long apps = 0;
    for (auto _ : state) {
        Run run;
        run.scan();
        apps = static_cast<long>(run.host->apps->size());
    }
    state.counters["applications"] = static_cast<double>(apps);
}
BENCHMARK(BM_Scan)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

void BM_AppFiles(benchmark::State& state) {
    corpus();
    long listings = 0, distinct = 0, files = 0, reports = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Run run;
        run.scan();
        state.ResumeTiming();
        run.appFiles();
        listings = run.fs->listings;
        distinct = static_cast<long>(run.fs->listedFolders.size());
        files = run.host->files;
        reports = run.host->reports;
    }
    state.counters["applications"] = static_cast<double>(reports);
    state.counters["files"] = static_cast<double>(files);
    state.counters["listings"] = static_cast<double>(listings);
    state.counters["distinctListed"] = static_cast<double>(distinct);
}
BENCHMARK(BM_AppFiles)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace
