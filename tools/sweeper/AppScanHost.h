#pragma once
// Drives an AppFileFinder as a host application does (delegates, the main
// loop) for the commands apps, app-files and leftovers and for the demo,
// and turns what the delegates received into JSON.

#include "Command.h"

#include "Core/apps/AppFileFinder.h"

#include <nlohmann/json.hpp>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sweeper {

// Everything the delegates heard, in order. All calls but the folded
// applications' arrive on the main thread.
class AppScanRecorder final : public Core::AppFileFinderDelegate, public Core::LeftoverFileFinderDelegate {
public:
    struct FoundFiles {
        Core::CaseInsensitiveString id;
        std::vector<Core::AppFile> files;
        std::vector<Core::File> bundleFiles;
    };

    void appFileFinderFoundApp(const Core::CaseInsensitiveString& id, const platform::URL& url) override;
    void appFileFinderFoundSubApp(const Core::CaseInsensitiveString& id) override;
    void appFileFinderDidFinishScan(const Core::AppBundleMap& found) override;
    void appFileFinderFoundFiles(const Core::CaseInsensitiveString& id, const std::vector<Core::AppFile>& files,
                                 const std::vector<Core::File>& bundleFiles) override;
    void appFileFinderDidFinishFiles() override { filesFinished = true; }
    void leftoverFinderFoundId(const std::string& id) override { leftoverIds.push_back(id); }
    void leftoverFinderDidFinishList() override { listFinished = true; }
    void leftoverFinderFoundFiles(const Core::CaseInsensitiveString& id, const std::vector<Core::AppFile>& files) override {
        leftoverFiles.push_back({id, files, {}});
    }
    void leftoverFinderDidFinishFiles() override { leftoverFilesFinished = true; }

    std::vector<std::pair<Core::CaseInsensitiveString, platform::URL>> foundApps;
    std::vector<Core::CaseInsensitiveString> subApps() const;
    std::optional<Core::AppBundleMap> apps;
    std::vector<FoundFiles> appFiles;
    bool filesFinished = false;
    std::vector<std::string> leftoverIds;
    bool listFinished = false;
    std::vector<FoundFiles> leftoverFiles;
    bool leftoverFilesFinished = false;

private:
    mutable std::mutex _mutex;
    std::vector<Core::CaseInsensitiveString> _subApps;  // guarded by _mutex
};

// A finder with a recorder as both delegates.
struct AppScan {
    std::shared_ptr<Core::AppFileFinder> finder;
    std::shared_ptr<AppScanRecorder> recorder = std::make_shared<AppScanRecorder>();
    explicit AppScan(const Core::AppFileRule& rule = Core::AppFileRule::all()) : finder(Core::AppFileFinder::make(rule)) {
        finder->delegate = recorder;
        finder->leftoverDelegate = recorder;
    }
};

// Each runs one operation and the main loop until its completion; a run
// that doesn't finish in an hour is an error.
void runScan(AppScan& scan);
void runAppFiles(AppScan& scan, const Core::AppBundleMap& apps);
void runLeftoversList(AppScan& scan);
void runLeftoverFiles(AppScan& scan, const std::vector<Core::CaseInsensitiveString>& ids);
// Runs the main loop until a prepare() begun before has finished.
void waitUntilPrepared();

// The ids folded into each entry of the scan, from the bundles the finder
// added for them and the URLs the scan reported.
std::map<Core::CaseInsensitiveString, std::vector<std::string>> foldedApps(const AppScan& scan);

// {"path","size","kind"} and, with `owner`, the owner as one key naming its
// case ("bundleID", "bundleName", "organization" or "app").
nlohmann::json appFileJson(const Core::AppFile& file, bool owner);

}  // namespace sweeper
