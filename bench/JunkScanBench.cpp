// The whole junk scan (every category on) over the corpus that
// bench/make_junk_corpus.py writes: 300 applications and 200,000 files.
// The corpus folder is read from JUNK_CORPUS (default /tmp/junk-corpus);
// the layout's root is that folder and the home its "Users/bench".
//
// The rule walk's listings are counted per folder by a FileSystem wrapper
// handed to the application part (its test seam): every folder must be
// listed at most once per scan.
//
//   BM_FullJunkScan/1   one whole scan per iteration, a fresh rule walk each time
//   BM_FullJunkScan/0   the same without the disk image search, which reads
//                       the end of every regular file below the home
#include "Core/files/FileSystem.h"
#include "Core/junk/JunkFileFinder.h"
#include "Core/rules/AppFileRule.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

namespace {

// How often the rule walk listed each folder.
struct ListingsPerFolder : Core::FileSystem {
    mutable std::mutex mutex;
    mutable std::map<std::string, int> times;

    std::vector<Core::URLResource> contents(const platform::URL& of,
                                            const std::vector<Core::ResourceKey>& keys) const override {
        {
            std::lock_guard lock(mutex);
            ++times[of.path()];
        }
        return FileSystem::contents(of, keys);
    }
};

// Counts what a scan reports.
struct Tally : Core::JunkFileFinderDelegate {
    long items = 0;
    int64_t bytes = 0;
    bool finished = false;

    void add(const Core::File& f) { ++items, bytes += f.size(); }
    template <class Files>
    void addAll(const Files& files) {
        for (const auto& f : files) ++items, bytes += f.size();
    }
    void junkFileFinderScanning(const platform::URL&) override {}
    void junkFileFinderProgress(double) override {}
    void junkFileFinderFoundSystemCache(const Core::File& f) override { add(f); }
    void junkFileFinderFoundSystemLog(const Core::File& f) override { add(f); }
    void junkFileFinderFoundTrash(const Core::File& f) override { add(f); }
    void junkFileFinderWillScanDiskImages() override {}
    void junkFileFinderFoundDiskImages(const std::vector<Core::File>& files) override { addAll(files); }
    void junkFileFinderFoundAppJunk(const Core::MacAppJunkFile& j) override { addAll(j.files); }
    void junkFileFinderFoundOrphanJunk(const Core::CaseInsensitiveString&, const std::vector<Core::AppFile>& files) override {
        addAll(files);
    }
    void junkFileFinderFoundInternetCache(const Core::MacAppJunkFile& j) override { addAll(j.files); }
    void junkFileFinderFoundPurgeableSpace(const Core::File& f) override { add(f); }
    void junkFileFinderDidFinish() override { finished = true; }
};

void BM_FullJunkScan(benchmark::State& state) {
    const char* corpus = std::getenv("JUNK_CORPUS");
    std::string root = corpus ? corpus : "/tmp/junk-corpus";
    platform::Layout::shared().setRoot(root);
    platform::Layout::shared().setHome(root + "/Users/bench");
    const Core::AppFileRule& rules = Core::AppFileRule::junk();  // compiled outside the timing

    long items = 0, folders = 0, mostListings = 0;
    int64_t bytes = 0;
    for (auto _ : state) {
        auto fs = std::make_shared<ListingsPerFolder>();
        auto finder = Core::JunkFileFinder::make(std::make_shared<Core::AppJunkFinder>(rules, fs));
        auto tally = std::make_shared<Tally>();
        finder->delegate = tally;
        finder->start({true, true, state.range(0) != 0, true, true, true, true, true, true});
        while (!tally->finished)
            platform::dispatch::runMainLoopUntil([&] { return tally->finished; }, std::chrono::hours(1));
        items = tally->items;
        bytes = tally->bytes;
        folders = static_cast<long>(fs->times.size());
        mostListings = 0;
        for (const auto& [path, times] : fs->times) mostListings = std::max<long>(mostListings, times);
    }
    struct rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    state.counters["items"] = static_cast<double>(items);
    state.counters["MB"] = static_cast<double>(bytes) / 1e6;
    state.counters["foldersListed"] = static_cast<double>(folders);
    state.counters["mostListingsOfAFolder"] = static_cast<double>(mostListings);
    state.counters["peakRSS_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}
BENCHMARK(BM_FullJunkScan)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace
