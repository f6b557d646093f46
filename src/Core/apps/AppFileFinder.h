#pragma once
// AppFileFinder: lists the installed applications (folding each product's
// auxiliary applications into its main one), finds every file that belongs
// to the applications the host hands back, and finds what removed
// applications left in the user's library.
//
// One rule walk cache serves every application of a run, so each directory
// is read once for all of them; sizes are measured afterwards, in parallel,
// never during the walk. Files an application claims are marked, and the
// leftover file scan of the same instance never offers them.
//
// Threading: call the operations on the main thread, one operation at a
// time per instance (start the next after the last one's completion).
// Results arrive through the delegates, on the main thread except
// appFileFinderFoundSubApp. Keep the instance in a std::shared_ptr (make()):
// running work holds it alive until its completion.
//
//   auto finder = Core::AppFileFinder::make();
//   finder->delegate = host;                       // host: shared_ptr<AppFileFinderDelegate>
//   finder->scan();                                // ... appFileFinderDidFinishScan(apps)
//   finder->startScanAppFiles(apps);               // ... appFileFinderDidFinishFiles()

#include "Core/apps/AppBundleLoader.h"
#include "Core/apps/AppFileFinderDelegate.h"
#include "Core/apps/LeftoverCandidates.h"
#include "Core/finder/AppFileInfo.h"
#include "Core/finder/FileFinder.h"
#include "Core/foundation/FileFinderContext.h"
#include "Core/rules/AppFileRule.h"
#include "Core/rules/RuleManager.h"
#include "platform/Dispatch.h"

#include <memory>
#include <mutex>
#include <string>
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Core {

class AppFileFinder : public std::enable_shared_from_this<AppFileFinder> {
public:
    // `rule` must outlive the finder (the shared ones do). `fileSystem` is
    // what the rule walk reads (a test or benchmark may count it).
    static std::shared_ptr<AppFileFinder> make(const AppFileRule& rule = AppFileRule::all(),
                                               std::shared_ptr<const FileSystem> fileSystem = nullptr);
    // Use make(): the work holds the instance.
    AppFileFinder(const AppFileRule& rule, std::shared_ptr<const FileSystem> fileSystem);

    // Warms the rule documents and reads the leftover exclusions on a
    // global queue; returns at once. Harmless to call again.
    static void prepare();
    // The exclusions that the last prepare() read; empty before.
    static LeftoverExclusions leftoverExclusions();
    // The exclusions a rule document gives: the name matchers of the
    // "preference" paths of the `support` category of its black rule.
    static LeftoverExclusions readLeftoverExclusions(const RuleManager& manager);
    static void setLeftoverExclusionsForTesting(LeftoverExclusions exclusions);
    // Calls `block` on the main thread once a prepare() that began before
    // this call has finished (at once when prepare() was never called).
    static void whenPrepared(std::function<void()> block);

    void scan();
    void startScanAppFiles(const AppBundleMap& apps);
    void stop();
    void startScanLeftoversList();
    void startScanLeftoverFiles(const std::vector<CaseInsensitiveString>& ids);

    // Set before scan(); never written by the finder.
    std::vector<platform::URL> excludeAppUrls;
    std::vector<std::string> excludeLeftoverIds;
    // Written by the leftover list; read once it has finished.
    bool hasJetbrainsApp = false;
    bool hasSketchApp = false;
    // Per main application, the bundles of its folded auxiliary
    // applications. Written by scan(); kept across scans.
    std::unordered_map<CaseInsensitiveString, std::vector<AppFileInfo>> subApps;
    std::weak_ptr<AppFileFinderDelegate> delegate;
    std::weak_ptr<LeftoverFileFinderDelegate> leftoverDelegate;
    // The running scan's stop switch; null when none.
    std::shared_ptr<FileFinderContext> context;
    FileFinder finder;
    AppBundleLoader bundleLoader;
    platform::dispatch::QueuePtr seriallyDispatchQueue;
    // The files the leftover list predicted from entry names.
    std::vector<AppFileInfo> predictionAppFiles;

private:
    void runScan(const std::shared_ptr<FileFinderContext>& running);
    void runAppFiles(const AppBundleMap& apps, const platform::dispatch::QueuePtr& queue,
                     const std::shared_ptr<FileFinderContext>& running);
    void runLeftoversList();
    std::unordered_set<CaseInsensitiveString> installedIDs(const AppBundleMap& apps);
    void runLeftoverFiles(const std::vector<CaseInsensitiveString>& ids, const platform::dispatch::QueuePtr& queue);
};

}  // namespace Core
