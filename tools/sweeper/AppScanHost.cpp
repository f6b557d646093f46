#include "AppScanHost.h"

#include "platform/Dispatch.h"

#include <chrono>

namespace sweeper {
namespace {

void runUntil(const std::function<bool()>& finished, const char* what) {
    if (!platform::dispatch::runMainLoopUntil(finished, std::chrono::hours(1)))
        throw CommandError(std::string(what) + " did not finish");
}

}  // namespace

void AppScanRecorder::appFileFinderFoundApp(const Core::CaseInsensitiveString& id, const platform::URL& url) {
    foundApps.emplace_back(id, url);
}

void AppScanRecorder::appFileFinderFoundSubApp(const Core::CaseInsensitiveString& id) {
    std::lock_guard lock(_mutex);
    _subApps.push_back(id);
}

std::vector<Core::CaseInsensitiveString> AppScanRecorder::subApps() const {
    std::lock_guard lock(_mutex);
    return _subApps;
}

void AppScanRecorder::appFileFinderDidFinishScan(const Core::AppBundleMap& found) { apps = found; }

void AppScanRecorder::appFileFinderFoundFiles(const Core::CaseInsensitiveString& id,
                                              const std::vector<Core::AppFile>& files,
                                              const std::vector<Core::File>& bundleFiles) {
    appFiles.push_back({id, files, bundleFiles});
}

void runScan(AppScan& scan) {
    scan.finder->scan();
    runUntil([&] { return scan.recorder->apps.has_value(); }, "the application scan");
}

void runAppFiles(AppScan& scan, const Core::AppBundleMap& apps) {
    scan.recorder->filesFinished = false;
    scan.finder->startScanAppFiles(apps);
    runUntil([&] { return scan.recorder->filesFinished; }, "the application file scan");
}

void runLeftoversList(AppScan& scan) {
    scan.finder->startScanLeftoversList();
    runUntil([&] { return scan.recorder->listFinished; }, "the leftover list");
}

void runLeftoverFiles(AppScan& scan, const std::vector<Core::CaseInsensitiveString>& ids) {
    scan.finder->startScanLeftoverFiles(ids);
    runUntil([&] { return scan.recorder->leftoverFilesFinished; }, "the leftover file scan");
}

void waitUntilPrepared() {
    bool prepared = false;
    Core::AppFileFinder::whenPrepared([&] { prepared = true; });
    runUntil([&] { return prepared; }, "the rule warm-up");
}

std::map<Core::CaseInsensitiveString, std::vector<std::string>> foldedApps(const AppScan& scan) {
    std::unordered_map<platform::URL, std::vector<std::string>> idsByURL;
    for (const auto& [id, url] : scan.recorder->foundApps) idsByURL[url].push_back(id.origin());
    const auto folded = scan.recorder->subApps();
    std::map<Core::CaseInsensitiveString, std::vector<std::string>> out;
    for (const auto& [mainID, files] : scan.finder->subApps) {
        for (const auto& file : files) {
            auto ids = idsByURL.find(file.file->url);
            if (ids == idsByURL.end()) continue;
            for (const auto& id : ids->second)
                if (std::find(folded.begin(), folded.end(), Core::CaseInsensitiveString(id)) != folded.end())
                    out[mainID].push_back(id);
        }
    }
    return out;
}

nlohmann::json appFileJson(const Core::AppFile& file, bool owner) {
    nlohmann::json out = {{"path", file.url().path()}, {"size", file.size()}, {"kind", file.kind().rawValue()}};
    if (!owner) return out;
    const Core::App& app = file.owner();
    const char* key = "app";
    if (app.isMacApp()) {
        switch (app.macAppID().type) {
            case Core::MacAppID::Type::bundleID: key = "bundleID"; break;
            case Core::MacAppID::Type::bundleName: key = "bundleName"; break;
            case Core::MacAppID::Type::organization: key = "organization"; break;
        }
    }
    out["owner"] = {{key, app.id().origin()}};
    return out;
}

}  // namespace sweeper
