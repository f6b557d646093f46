#include "Core/apps/AppFileFinder.h"

#include "Core/apps/AppFileOwnership.h"
#include "Core/apps/AppRegistry.h"
#include "Core/apps/MacAppBuilder.h"
#include "Core/rules/RuleManager.h"
#include "platform/Analytics.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"
#include "support/Await.h"
#include "support/BundleBuilder.h"
#include "support/MacTreeBuilder.h"
#include "support/MainLoopPump.h"

#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <set>

namespace {

using namespace Core;
using testing_support::MacTreeBuilder;
using testing_support::pumpMainLoopUntil;

constexpr const char* kRules = R"(
"*":
  caches:
    cache: ['Lib/Caches/**']
  support:
    support: ['Lib/Application Support/**', '/Library/Application Support/Apple', '/Library/PrivilegedHelperTools/**']
    container: ['Lib/Containers/**']
    preference: ['Lib/Preferences/*(?<id>.+)\.plist']
  library:
    library: ['Lib/Saved Application State/common.state']
"@":
  support:
    preference: ['Lib/Preferences/*com\.apple\..*\.plist']
)";

// Everything the delegates heard, with the thread of each call.
struct Recorder final : AppFileFinderDelegate, LeftoverFileFinderDelegate {
    void appFileFinderFoundApp(const CaseInsensitiveString& id, const platform::URL& url) override {
        note("foundApp");
        foundApps.emplace_back(id.origin(), url.path());
    }
    void appFileFinderFoundSubApp(const CaseInsensitiveString& id) override {
        note("foundSubApp");
        std::lock_guard lock(mutex);
        subApps.push_back(id.origin());
    }
    void appFileFinderDidFinishScan(const AppBundleMap& found) override {
        note("didFinishScan");
        apps = found;
    }
    void appFileFinderFoundFiles(const CaseInsensitiveString& id, const std::vector<AppFile>& found,
                                 const std::vector<File>& bundles) override {
        note("foundFiles");
        files[id.origin()] = found;
        bundleFiles[id.origin()] = bundles;
        ++reports;
    }
    void appFileFinderDidFinishFiles() override {
        note("didFinishFiles");
        filesDone = true;
    }
    void leftoverFinderFoundId(const std::string& id) override {
        note("foundId");
        leftoverIds.insert(id);
    }
    void leftoverFinderDidFinishList() override {
        note("didFinishList");
        listDone = true;
    }
    void leftoverFinderFoundFiles(const CaseInsensitiveString& id, const std::vector<AppFile>& found) override {
        note("leftoverFiles");
        leftoverFiles[id.origin()] = found;
    }
    void leftoverFinderDidFinishFiles() override {
        note("didFinishLeftoverFiles");
        leftoverFilesDone = true;
    }

    void note(const std::string& call) {
        std::lock_guard lock(mutex);
        onMain[call].insert(platform::dispatch::isMainThread());
    }

    std::mutex mutex;
    std::map<std::string, std::set<bool>> onMain;  // guarded by mutex
    std::vector<std::string> subApps;              // guarded by mutex
    std::vector<std::pair<std::string, std::string>> foundApps;
    std::optional<AppBundleMap> apps;
    std::map<std::string, std::vector<AppFile>> files;
    std::map<std::string, std::vector<File>> bundleFiles;
    int reports = 0;
    bool filesDone = false;
    std::set<std::string> leftoverIds;
    bool listDone = false;
    std::map<std::string, std::vector<AppFile>> leftoverFiles;
    bool leftoverFilesDone = false;
};

// An analytics sink that keeps lines and can hold the thread that sends one.
struct HoldingSink final : platform::AnalyticsSink {
    void event(int, const std::map<std::string, std::string>&) override {}
    void line(const std::string& text) override {
        {
            std::lock_guard lock(mutex);
            lines.push_back(text);
        }
        if (!entered.isSet()) entered.set();
        if (hold) released.await();
    }
    std::mutex mutex;
    std::vector<std::string> lines;
    bool hold = false;
    testing_support::Flag entered, released;
};

// The default registry, held at its first question until released.
struct HoldingRegistry final : AppRegistry {
    std::optional<std::vector<std::string>> applicationPaths() const override {
        entered.set();
        released.await();
        return AppRegistry::applicationPaths();
    }
    mutable testing_support::Flag entered, released;
};

std::string helperTool(const std::string& clients) {
    return std::string("\x7f" "ELF\x02\x01", 6) + std::string(64, '\0') +
           "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict><key>SMAuthorizedClients</key>" +
           clients + "</dict></plist>" + std::string(16, '\0') + "<?xml trailing?>";
}

class AppFileFinderTest : public testing::Test {
protected:
    void SetUp() override {
        tree.useLayout();
        manager = std::make_unique<RuleManager>(kRules, platform::Layout::shared(), "doc");
        rule = std::make_unique<AppFileRule>(*manager, true);
        finder = AppFileFinder::make(*rule);
        finder->delegate = recorder;
        finder->leftoverDelegate = recorder;
        platform::AnalyticsSink::setShared(sink);
    }
    void TearDown() override {
        platform::AnalyticsSink::setShared(nullptr);
        AppRegistry::setShared(nullptr);
    }

    void scan() {
        finder->scan();
        ASSERT_TRUE(pumpMainLoopUntil([&] { return recorder->apps.has_value(); }));
    }
    void scanFiles(const AppBundleMap& apps) {
        recorder->filesDone = false;
        finder->startScanAppFiles(apps);
        ASSERT_TRUE(pumpMainLoopUntil([&] { return recorder->filesDone; }));
    }
    std::map<std::string, std::string> filesOf(const std::string& id) {
        std::map<std::string, std::string> out;
        for (const auto& file : recorder->files[id]) {
            std::string owner = file.owner().isMacApp() ? std::to_string(int(file.owner().macAppID().type)) : "app";
            out[file.url().path()] = file.kind().rawValue() + " " + owner + ":" + file.owner().id().origin();
        }
        return out;
    }
    std::string lib(const std::string& relative) { return tree.library(relative); }
    std::string sys(const std::string& path) { return tree.root() + path; }

    MacTreeBuilder tree;
    std::unique_ptr<RuleManager> manager;
    std::unique_ptr<AppFileRule> rule;
    std::shared_ptr<AppFileFinder> finder;
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::shared_ptr<HoldingSink> sink = std::make_shared<HoldingSink>();
};

TEST_F(AppFileFinderTest, ScanSkipsProtectedExcludedUnreadableAndSystemApplications) {
    tree.app("Notes", "com.example.Notes")
        .app("Notes", "com.example.Notes", "/Users/tester/Applications")
        .app("Safari", "com.apple.Safari")
        .app("Safari Preview", "com.apple.SafariTechnologyPreview")
        .app("Automator", "com.apple.automator.Runner")
        .app("Sogou", "com.sogou.SogouInstaller")
        .app("Sogou Helper", "com.sogou.SogouInstallerHelper")
        .app("Excluded", "com.example.Excluded")
        .app("Guarded", "com.example.Guarded");
    testing_support::writeBundle(sys("/Applications/Broken.app"), testing_support::BundleContents("com.example.Broken").withExecutable(""));
    finder->excludeAppUrls.push_back(platform::URL::fileURL(sys("/Applications/Excluded.app")));
    const bool marked = ::setxattr(sys("/Applications/Guarded.app").c_str(), "user.com.apple.rootless", "", 0, 0) == 0;

    scan();
    std::set<std::string> ids;
    for (const auto& [id, bundles] : *recorder->apps) ids.insert(id.origin());
    std::set<std::string> expected{"com.example.Notes", "com.sogou.SogouInstallerHelper"};
    if (!marked) expected.insert("com.example.Guarded");  // no user attributes on this file system
    EXPECT_EQ(ids, expected);
    // Two copies of one application are one entry, in discovery order.
    const auto& notes = recorder->apps->at("COM.EXAMPLE.NOTES");
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0]->url().path(), sys("/Applications/Notes.app"));
    EXPECT_EQ(notes[1]->url().path(), tree.home() + "/Applications/Notes.app");
    EXPECT_EQ(recorder->foundApps.size(), expected.size() + 1);
    EXPECT_EQ(recorder->onMain["foundApp"], std::set<bool>{true});
    EXPECT_EQ(recorder->onMain["didFinishScan"], std::set<bool>{true});
}

TEST_F(AppFileFinderTest, AuxiliaryApplicationsFoldIntoTheirMainOne) {
    tree.app("Notes", "com.example.Notes")
        .app("Notes Helper", "com.example.Notes.Helper")
        .app("Notes Helper", "com.example.Notes.Helper", "/Users/tester/Applications")
        .app("Paint", "com.acme.Paint");
    testing_support::writeBundle(sys("/Applications/Notes.app/Contents/Library/LoginItems/Helper.app"),
                                 testing_support::BundleContents("com.example.Notes.Helper"));
    scan();
    std::set<std::string> ids;
    for (const auto& [id, bundles] : *recorder->apps) ids.insert(id.origin());
    EXPECT_EQ(ids, (std::set<std::string>{"com.example.Notes", "com.acme.Paint"}));
    {
        std::lock_guard lock(recorder->mutex);
        EXPECT_EQ(recorder->subApps, std::vector<std::string>{"com.example.Notes.Helper"});
        EXPECT_EQ(recorder->onMain["foundSubApp"], std::set<bool>{false});
    }
    // The later copy is the one remembered, as a support file of rank 10.
    ASSERT_EQ(finder->subApps.at("com.example.Notes").size(), 1u);
    const auto& folded = finder->subApps.at("com.example.Notes")[0];
    EXPECT_EQ(folded.file->url.path(), tree.home() + "/Applications/Notes Helper.app");
    EXPECT_EQ(folded.file->priority, 10);

    scanFiles(*recorder->apps);
    EXPECT_EQ(filesOf("com.example.Notes")[tree.home() + "/Applications/Notes Helper.app"], "support 0:com.example.Notes");
    EXPECT_EQ(recorder->bundleFiles["com.example.Notes"].size(), 1u);
    EXPECT_GT(recorder->bundleFiles["com.example.Notes"][0].size(), 0);
}

TEST_F(AppFileFinderTest, OwnershipByIdNameOrganizationAndNoIdAtAll) {
    tree.app("Notes", "com.example.Notes")
        .cache("com.example.Notes")
        .cache("com.example.notes.helper")
        .cache("com.other.App")
        .support("Notes")
        .support("example")
        .file("Library/Saved Application State/common.state");
    testing_support::writeBundle(sys("/Applications/Notes.app/Contents/Library/LoginItems/Helper.app"),
                                 testing_support::BundleContents("com.example.Notes.Helper"));
    std::filesystem::create_directories(sys("/Library/Application Support/Apple"));

    AppBundleLoader loader;
    auto app = makeMacApp({loader.load(platform::URL::fileURL(sys("/Applications/Notes.app")))});
    EXPECT_EQ(app->organization(), CaseInsensitiveString("example"));
    FileFinder walker(*rule);
    std::map<std::string, std::string> owners;
    for (const auto& found : findAppFiles(walker, *app)) {
        EXPECT_TRUE(found.file->used);
        owners[found.file->url.path()] =
            std::to_string(int(found.owner.macAppID().type)) + ":" + found.owner.id().origin();
    }
    EXPECT_EQ(owners, (std::map<std::string, std::string>{
                          {lib("Caches/com.example.Notes"), "0:com.example.Notes"},
                          {lib("Caches/com.example.notes.helper"), "0:com.example.notes.helper"},
                          {lib("Application Support/Notes"), "1:Notes"},
                          {lib("Application Support/example"), "2:example"},
                          {lib("Saved Application State/common.state"), "0:com.example.Notes"},
                      }));
    // Another application's file is left alone and unmarked; the system
    // folder is claimed but never offered.
    bool otherMarked = true, appleMarked = false;
    walker.find([](MatcherID) { return true; }, [&](const auto&, const std::shared_ptr<FileInfo>& info, const auto&, const auto&) {
        if (info->url.path() == lib("Caches/com.other.App")) otherMarked = info->used;
        if (info->url.path() == sys("/Library/Application Support/Apple")) appleMarked = info->used;
    });
    EXPECT_FALSE(otherMarked);
    EXPECT_TRUE(appleMarked);
}

TEST_F(AppFileFinderTest, HelperToolsJoinTheirClientOnceEach) {
    tree.app("Notes", "com.example.Notes").app("Paint", "com.acme.Paint").app("Clock", "com.example.Clock");
    const std::string tools = sys("/Library/PrivilegedHelperTools/");
    // Found by the rules already (its name is the client's id).
    testing_support::writeFile(tools + "com.example.Notes",
                               helperTool("<string>identifier \"com.example.Notes\" and anchor apple generic</string>"));
    // Only the authorised clients tell whose it is: the first of an array.
    testing_support::writeFile(tools + "paint-helper",
                               helperTool("<array><string>identifier \"com.acme.Paint\"</string>"
                                          "<string>identifier \"com.example.Clock\"</string></array>"));
    testing_support::writeFile(tools + "no-plist", std::string(100, 'x'));
    testing_support::writeFile(tools + "no-quotes", helperTool("<string>anchor apple</string>"));

    scan();
    scanFiles(*recorder->apps);
    auto notes = filesOf("com.example.Notes");
    EXPECT_EQ(std::count_if(recorder->files["com.example.Notes"].begin(), recorder->files["com.example.Notes"].end(),
                            [&](const AppFile& f) { return f.url().path() == tools + "com.example.Notes"; }),
              1);
    EXPECT_EQ(filesOf("com.acme.Paint"), (std::map<std::string, std::string>{{tools + "paint-helper", "support 0:com.acme.Paint"}}));
    EXPECT_TRUE(filesOf("com.example.Clock").empty());
    std::lock_guard lock(sink->mutex);
    std::sort(sink->lines.begin(), sink->lines.end());
    EXPECT_EQ(sink->lines, (std::vector<std::string>{"com.acme.Paint file://" + tools + "paint-helper",
                                                     "com.example.Notes file://" + tools + "com.example.Notes"}));
}

TEST_F(AppFileFinderTest, FileReportsArriveOnTheMainThreadAndTheEndComesAlsoForNoApplications) {
    tree.application("Notes", "com.example.Notes");
    scan();
    scanFiles(*recorder->apps);
    EXPECT_EQ(recorder->reports, 1);
    EXPECT_EQ(recorder->onMain["foundFiles"], std::set<bool>{true});
    EXPECT_EQ(recorder->onMain["didFinishFiles"], std::set<bool>{true});
    // Sizes come with the files; a shared FileInfo keeps its measure.
    for (const auto& file : recorder->files["com.example.Notes"]) EXPECT_GT(file.size(), 0) << file.url().path();

    recorder->reports = 0;
    scanFiles({});
    EXPECT_EQ(recorder->reports, 0);
}

TEST_F(AppFileFinderTest, StopEndsTheScanAndTheFileScanWithTheirCompletions) {
    tree.application("Notes", "com.example.Notes").application("Paint", "com.acme.Paint");
    auto registry = std::make_shared<HoldingRegistry>();
    AppRegistry::setShared(registry);
    finder->scan();
    ASSERT_TRUE(registry->entered.await());
    finder->stop();
    EXPECT_EQ(finder->context, nullptr);
    registry->released.set();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return recorder->apps.has_value(); }));
    EXPECT_TRUE(recorder->apps->empty());

    // Again, stopped while the file scan is held before its first application.
    AppRegistry::setShared(nullptr);
    recorder->apps.reset();
    scan();
    ASSERT_EQ(recorder->apps->size(), 2u);
    testing_support::writeFile(sys("/Library/PrivilegedHelperTools/tool"), helperTool("<string>identifier \"com.acme.Paint\"</string>"));
    sink->hold = true;
    finder->startScanAppFiles(*recorder->apps);
    ASSERT_TRUE(sink->entered.await());
    finder->stop();
    sink->released.set();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return recorder->filesDone; }));
    EXPECT_EQ(recorder->reports, 0);
}

// Leftovers

class LeftoverScanTest : public AppFileFinderTest {
protected:
    void list() {
        finder->startScanLeftoversList();
        ASSERT_TRUE(pumpMainLoopUntil([&] { return recorder->listDone; }));
    }
};

TEST_F(LeftoverScanTest, ListsWhatNoInstalledApplicationAccountsFor) {
    tree.application("Notes", "com.example.Notes")
        .app("IDE", "com.jetbrains.intellij")
        .preference("com.example.Notes")
        .preference("com.example.Other")   // related: 2 of 3 pieces
        .preference("com.apple.dock")
        .preference("org.gone.Tool")
        .preference("net.excluded.App")
        .container("org.gone.Boxed")
        .folder("Library/Containers/group.ABCDE12345.org.gone.Shared")
        .folder("Library/Containers/Data")
        .folder("Library/Preferences/jetbrains.toolbox.cfg");
    finder->excludeLeftoverIds = {"net.excluded.App"};
    list();
    EXPECT_EQ(recorder->leftoverIds, (std::set<std::string>{"org.gone.Tool", "org.gone.Boxed", "org.gone.Shared"}));
    EXPECT_TRUE(finder->hasJetbrainsApp);
    EXPECT_FALSE(finder->hasSketchApp);
    EXPECT_EQ(recorder->onMain["foundId"], std::set<bool>{true});
    EXPECT_EQ(recorder->onMain["didFinishList"], std::set<bool>{true});
}

// A registry that lists applications but can't tell registered ids.
struct NoIDsRegistry final : AppRegistry {
    std::optional<std::vector<std::string>> registeredBundleIDs() const override { return std::nullopt; }
};

TEST_F(LeftoverScanTest, WithoutRegisteredIdsTheBundlesOwnIdsCount) {
    tree.app("Notes", "com.example.Notes").preference("net.other.Agent").preference("org.gone.Tool");
    testing_support::writeBundle(sys("/Applications/Notes.app/Contents/Library/LoginItems/Agent.app"),
                                 testing_support::BundleContents("net.other.Agent"));
    AppRegistry::setShared(std::make_shared<NoIDsRegistry>());
    list();
    EXPECT_EQ(recorder->leftoverIds, std::set<std::string>{"org.gone.Tool"});
}

TEST_F(LeftoverScanTest, AListWithoutTheApplicationsFolderCountsAsFailed) {
    tree.app("Mine", "com.me.Mine", "/Users/tester/Applications").preference("org.gone.Tool");
    list();
    EXPECT_TRUE(recorder->leftoverIds.empty());

    // Nothing installed at all gives the same.
    MacTreeBuilder empty;
    empty.useLayout().preference("org.gone.Tool");
    recorder->listDone = false;
    list();
    EXPECT_TRUE(recorder->leftoverIds.empty());
}

TEST_F(LeftoverScanTest, NoFileClaimedByAnInstalledApplicationIsOffered) {
    // Notes claims its vendor's folder by organization; the leftover search
    // for another id of that vendor must not offer it.
    tree.application("Notes", "com.example.Notes")
        .support("example")
        .cache("net.example.Gone")
        .container("net.example.Gone")
        .preference("org.gone.Tool")
        .cache("org.gone.Tool");
    scan();
    scanFiles(*recorder->apps);
    std::set<std::string> claimed;
    for (const auto& [id, files] : recorder->files)
        for (const auto& file : files) claimed.insert(file.url().path());
    ASSERT_TRUE(claimed.contains(lib("Application Support/example")));

    list();
    std::vector<CaseInsensitiveString> ids(recorder->leftoverIds.begin(), recorder->leftoverIds.end());
    ids.push_back("net.example.Gone");
    finder->startScanLeftoverFiles(ids);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return recorder->leftoverFilesDone; }));

    std::map<std::string, std::set<std::string>> offered;
    for (const auto& [id, files] : recorder->leftoverFiles)
        for (const auto& file : files) {
            EXPECT_FALSE(claimed.contains(file.url().path())) << file.url().path();
            EXPECT_EQ(file.owner(), App::app(id));
            offered[id].insert(file.kind().rawValue() + " " + file.url().path());
        }
    EXPECT_EQ(offered["net.example.Gone"], (std::set<std::string>{"cache " + lib("Caches/net.example.Gone"),
                                                                  "container " + lib("Containers/net.example.Gone")}));
    // The preference is found by the rules and by the prediction: once.
    EXPECT_EQ(offered["org.gone.Tool"], (std::set<std::string>{"cache " + lib("Caches/org.gone.Tool"),
                                                               "preference " + lib("Preferences/org.gone.Tool.plist")}));
    EXPECT_EQ(recorder->leftoverFiles["org.gone.Tool"].size(), 2u);
    EXPECT_EQ(recorder->onMain["leftoverFiles"], std::set<bool>{true});
}

}  // namespace
