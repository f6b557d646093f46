#pragma once
// A junk scan's host for tests: records every delegate call in order, with
// whether it came on the main thread, and runs a scan to its end.
#include "Core/files/FileManager.h"
#include "Core/junk/JunkFileFinder.h"
#include "platform/Dispatch.h"
#include "support/Await.h"
#include "support/MainLoopPump.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace junk_testing {

// Holds the scan inside the folder sizer at `folder` until `resumed` is set,
// so that a test can act while the scan is busy there; every other folder
// measures 1 byte; the real sizer comes back with the gate's end.
struct SizingGate {
    explicit SizingGate(std::string folder) : target(std::move(folder)) {
        Core::FileManager::setDirectorySizerForTesting(
            [this](const char* path, const std::atomic<bool>*, int32_t*) -> int64_t {
                if (path == target) {
                    reached.set();
                    EXPECT_TRUE(resumed.await());
                }
                return 1;
            });
    }
    ~SizingGate() { Core::FileManager::setDirectorySizerForTesting(nullptr); }
    SizingGate(const SizingGate&) = delete;
    SizingGate& operator=(const SizingGate&) = delete;
    std::string target;
    testing_support::Flag reached, resumed;
};

struct JunkRecorder : Core::JunkFileFinderDelegate {
    std::vector<std::string> calls;  // slot names, in order
    bool offMain = false;
    std::vector<double> progress;
    std::vector<std::string> scanned;
    std::vector<Core::File> caches, logs, trash, purgeable;
    std::vector<std::vector<Core::File>> diskImages;
    std::vector<Core::MacAppJunkFile> appJunk, internetCaches;
    std::vector<std::pair<std::string, std::vector<Core::AppFile>>> orphans;
    int finished = 0;

    void note(const char* slot, bool listed = true) {
        if (!platform::dispatch::isMainThread()) offMain = true;
        if (listed) calls.push_back(slot);
    }
    void junkFileFinderScanning(const platform::URL& url) override {
        note("scanning", false);
        scanned.push_back(url.path());
    }
    void junkFileFinderProgress(double value) override {
        note("progress", false);
        progress.push_back(value);
    }
    void junkFileFinderFoundSystemCache(const Core::File& f) override { note("cache"), caches.push_back(f); }
    void junkFileFinderFoundSystemLog(const Core::File& f) override { note("log"), logs.push_back(f); }
    void junkFileFinderFoundTrash(const Core::File& f) override { note("trash"), trash.push_back(f); }
    void junkFileFinderWillScanDiskImages() override { note("willScanDiskImages"); }
    void junkFileFinderFoundDiskImages(const std::vector<Core::File>& files) override {
        note("diskImages"), diskImages.push_back(files);
    }
    void junkFileFinderFoundAppJunk(const Core::MacAppJunkFile& f) override { note("appJunk"), appJunk.push_back(f); }
    void junkFileFinderFoundOrphanJunk(const Core::CaseInsensitiveString& id,
                                       const std::vector<Core::AppFile>& files) override {
        note("orphan"), orphans.emplace_back(id.origin(), files);
    }
    void junkFileFinderFoundInternetCache(const Core::MacAppJunkFile& f) override {
        note("internetCache"), internetCaches.push_back(f);
    }
    void junkFileFinderFoundPurgeableSpace(const Core::File& f) override { note("purgeable"), purgeable.push_back(f); }
    void junkFileFinderDidFinish() override {
        note("finish");
        ++finished;
    }

    // Paths of found files relative to `base`, sorted.
    static std::vector<std::string> relative(const std::vector<Core::File>& files, const std::string& base);
};

inline std::vector<std::string> JunkRecorder::relative(const std::vector<Core::File>& files, const std::string& base) {
    std::vector<std::string> out;
    for (const auto& f : files) {
        const std::string& p = f.url().path();
        out.push_back(p.compare(0, base.size(), base) == 0 ? p.substr(base.size()) : p);
    }
    std::sort(out.begin(), out.end());
    return out;
}

// Starts `finder` with `config` and runs the main loop until the finish.
inline bool runToEnd(Core::JunkFileFinder& finder, JunkRecorder& recorder, const Core::JunkFileFinderConfig& config) {
    finder.start(config);
    return testing_support::pumpMainLoopUntil([&] { return recorder.finished > 0; });
}

}  // namespace junk_testing
