#include "JunkReport.h"

#include "Core/junk/JunkFileFinder.h"
#include "platform/ByteCountFormatter.h"
#include "platform/Dispatch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

namespace sweeper {

namespace {

// Keeps what the scan reports, and draws the progress bar.
class Collector : public Core::JunkFileFinderDelegate {
public:
    explicit Collector(bool showProgress) : _showProgress(showProgress) {}

    void junkFileFinderScanning(const platform::URL& url) override {
        _path = url.path();
        draw();
    }
    void junkFileFinderProgress(double value) override {
        _value = value;
        draw();
    }
    void junkFileFinderFoundSystemCache(const Core::File& f) override { result.systemCaches.push_back(f); }
    void junkFileFinderFoundSystemLog(const Core::File& f) override { result.systemLogs.push_back(f); }
    void junkFileFinderFoundTrash(const Core::File& f) override { result.trash.push_back(f); }
    void junkFileFinderWillScanDiskImages() override {}
    void junkFileFinderFoundDiskImages(const std::vector<Core::File>& files) override {
        result.diskImages.insert(result.diskImages.end(), files.begin(), files.end());
    }
    void junkFileFinderFoundAppJunk(const Core::MacAppJunkFile& f) override { result.appJunk.push_back(f); }
    void junkFileFinderFoundOrphanJunk(const Core::CaseInsensitiveString& id,
                                       const std::vector<Core::AppFile>& files) override {
        result.orphanJunk.push_back({id, files});
    }
    void junkFileFinderFoundInternetCache(const Core::MacAppJunkFile& f) override { result.internetCaches.push_back(f); }
    void junkFileFinderFoundPurgeableSpace(const Core::File& f) override { result.purgeable = f; }
    void junkFileFinderDidFinish() override {
        if (_showProgress) std::fputs("\r\033[K", stderr);
        done = true;
    }

    JunkResult result;
    bool done = false;

private:
    void draw() {
        if (!_showProgress) return;
        constexpr int kWidth = 30;
        int filled = std::clamp(int(_value * kWidth + 0.5), 0, kWidth);
        std::string path = _path.size() > 60 ? "..." + _path.substr(_path.size() - 57) : _path;
        std::fprintf(stderr, "\r\033[K[%s%s] %3d%% %s", std::string(size_t(filled), '#').c_str(),
                     std::string(size_t(kWidth - filled), ' ').c_str(), int(_value * 100 + 0.5), path.c_str());
        std::fflush(stderr);
    }

    bool _showProgress;
    double _value = 0;
    std::string _path;
};

nlohmann::json fileJson(const Core::File& f) { return {{"path", f.url().path()}, {"size", f.size()}}; }

nlohmann::json filesJson(const std::vector<Core::File>& files) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& f : files) list.push_back(fileJson(f));
    return list;
}

nlohmann::json appFilesJson(const std::vector<Core::AppFile>& files) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& f : files)
        list.push_back({{"path", f.url().path()}, {"size", f.size()}, {"kind", f.kind().rawValue()}});
    return list;
}

nlohmann::json appsJson(const std::vector<Core::MacAppJunkFile>& apps) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& a : apps)
        list.push_back({{"appURL", a.appURL.path()}, {"bundleID", a.bundleID.origin()}, {"files", appFilesJson(a.files)}});
    return list;
}

template <class Files>
int64_t total(const Files& files) {
    int64_t sum = 0;
    for (const auto& f : files) sum += f.size();
    return sum;
}

template <class Groups>
std::pair<size_t, int64_t> groupTotals(const Groups& groups) {
    size_t count = 0;
    int64_t sum = 0;
    for (const auto& g : groups) {
        count += g.files.size();
        sum += total(g.files);
    }
    return {count, sum};
}

void line(const char* category, size_t items, const std::string& unit, int64_t bytes) {
    std::printf("  %-20s %6zu %-22s %10s\n", category, items, unit.c_str(), platform::formatByteCount(bytes).c_str());
}

std::string fromApps(const char* unit, size_t apps, const char* whose) {
    return std::string(unit) + " of " + std::to_string(apps) + " " + whose;
}

}  // namespace

JunkResult scanJunk(const JunkOptions& options, bool showProgress, std::shared_ptr<Core::AppJunkFinder> apps) {
    auto collector = std::make_shared<Collector>(showProgress);
    auto finder = apps ? Core::JunkFileFinder::make(std::move(apps)) : Core::JunkFileFinder::make();
    finder->delegate = collector;
    for (const auto& p : options.excludeFiles) finder->exclubeFilesUrls.push_back(platform::URL::fileURL(p));
    for (const auto& p : options.excludeApps) finder->exclubeAppUrls.push_back(platform::URL::fileURL(p));
    finder->exclubeAppIds = options.excludeIDs;
    finder->start(options.config);
    while (!collector->done)
        platform::dispatch::runMainLoopUntil([&] { return collector->done; }, std::chrono::hours(1));
    return std::move(collector->result);
}

nlohmann::json junkJson(const JunkResult& r) {
    nlohmann::json orphans = nlohmann::json::array();
    for (const auto& o : r.orphanJunk) orphans.push_back({{"id", o.id.origin()}, {"files", appFilesJson(o.files)}});
    return {{"systemCaches", filesJson(r.systemCaches)},
            {"systemLogs", filesJson(r.systemLogs)},
            {"trash", filesJson(r.trash)},
            {"diskImages", filesJson(r.diskImages)},
            {"appJunk", appsJson(r.appJunk)},
            {"orphanJunk", orphans},
            {"internetCaches", appsJson(r.internetCaches)},
            {"purgeable", r.purgeable ? fileJson(*r.purgeable) : nlohmann::json(nullptr)}};
}

void printJunkSummary(const JunkResult& r) {
    auto [appFiles, appBytes] = groupTotals(r.appJunk);
    auto [orphanFiles, orphanBytes] = groupTotals(r.orphanJunk);
    auto [webFiles, webBytes] = groupTotals(r.internetCaches);
    int64_t purgeable = r.purgeable ? r.purgeable->size() : 0;
    line("System caches", r.systemCaches.size(), "items", total(r.systemCaches));
    line("System logs", r.systemLogs.size(), "items", total(r.systemLogs));
    line("Trash", r.trash.size(), "items", total(r.trash));
    line("Disk images", r.diskImages.size(), "images", total(r.diskImages));
    line("Application junk", appFiles, fromApps("files", r.appJunk.size(), "apps"), appBytes);
    line("Removed apps' junk", orphanFiles, fromApps("files", r.orphanJunk.size(), "ids"), orphanBytes);
    line("Internet caches", webFiles, fromApps("files", r.internetCaches.size(), "browsers"), webBytes);
    if (r.purgeable) line("Purgeable space", 1, "estimate", purgeable);
    else std::printf("  %-20s %s\n", "Purgeable space", "no estimate");
    int64_t all = total(r.systemCaches) + total(r.systemLogs) + total(r.trash) + total(r.diskImages) + appBytes +
                  orphanBytes + webBytes + purgeable;
    std::printf("  %-20s %6s %-22s %10s\n", "Total", "", "", platform::formatByteCount(all).c_str());
}

}  // namespace sweeper
