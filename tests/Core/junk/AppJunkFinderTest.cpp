#include "Core/junk/AppJunkFinder.h"

#include "Core/apps/AppRegistry.h"
#include "Core/files/FileManager.h"
#include "Core/junk/JunkFileFinder.h"
#include "Core/rules/RuleManager.h"
#include "JunkRecorder.h"
#include "support/Await.h"
#include "support/MacTreeBuilder.h"
#include "support/MainLoopPump.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace Core;
using junk_testing::JunkRecorder;
using testing_support::MacTreeBuilder;
using testing_support::pumpMainLoopUntil;

// Caches and logs of three installed applications (one a browser, one the
// development environment) and of two that are gone, with the black and
// system rules claiming what belongs to nobody.
constexpr std::string_view kRules = R"(
"*": {caches: {cache: ["Lib/Caches/**"]}, logs: {log: ["Lib/Logs/**"]}}
"@": {caches: {cache: ['Lib/Caches/*com\.apple\..*']}}
"#": {caches: {cache: ["Lib/Caches/CloudKit"]}}
'*com\.gone\..*': {caches: {cache: ["Lib/Caches/GoneStuff"]}}
com.example.Notes: {caches: {cache: ["Lib/Caches/Notes Cache"]}}
com.google.Chrome: {caches: {cache: ["Lib/Caches/Google/Chrome"]}}
com.apple.dt.Xcode: {caches: {cache: ["Lib/Developer/Xcode/DerivedData"]}}
)";

struct AppScene {
    MacTreeBuilder tree;
    std::unique_ptr<RuleManager> manager;
    std::unique_ptr<AppFileRule> rule;
    std::shared_ptr<JunkRecorder> recorder = std::make_shared<JunkRecorder>();
    std::shared_ptr<JunkFileFinder> finder;

    AppScene() {
        tree.useLayout();
        manager = std::make_unique<RuleManager>(kRules, platform::Layout::shared(), "doc");
        rule = std::make_unique<AppFileRule>(*manager, false);
        tree.app("Notes", "com.example.Notes").app("Chrome", "com.google.Chrome").app("Xcode", "com.apple.dt.Xcode");
        tree.cache("com.example.Notes", 2).folder("Library/Caches/Notes Cache").log("com.example.Notes");
        tree.cache("com.google.Chrome").file("Library/Caches/Google/Chrome/data").log("com.google.Chrome");
        tree.file("Library/Developer/Xcode/DerivedData/Build/a.o");
        tree.cache("com.gone.App").file("Library/Caches/GoneStuff/x").log("com.gone.Other");
        tree.cache("com.apple.private").cache("CloudKit");
        finder = JunkFileFinder::make(std::make_shared<AppJunkFinder>(*rule));
        finder->delegate = recorder;
    }
    ~AppScene() {
        FileManager::setDirectorySizerForTesting(nullptr);
        AppRegistry::setShared(nullptr);
    }

    std::string rel(const platform::URL& url) const { return url.path().substr(tree.home().size() + 1); }

    // Every reported file as "slot id path kind", in a set.
    std::set<std::string> run(const JunkFileFinderConfig& config) {
        EXPECT_TRUE(junk_testing::runToEnd(*finder, *recorder, config));
        std::set<std::string> out;
        auto add = [&](const std::string& slot, const std::string& id, const std::vector<AppFile>& files) {
            for (const auto& f : files) out.insert(slot + " " + id + " " + rel(f.url()) + " " + f.kind().rawValue());
        };
        for (const auto& j : recorder->appJunk) add("app", j.bundleID.origin(), j.files);
        for (const auto& j : recorder->internetCaches) add("browser", j.bundleID.origin(), j.files);
        for (const auto& [id, files] : recorder->orphans) add("orphan", id, files);
        return out;
    }
};

JunkFileFinderConfig appConfig(bool caches, bool logs, bool xcode, bool internet) {
    return {false, false, false, false, false, caches, logs, xcode, internet};
}

TEST(AppJunkFinderTest, SwitchesChooseWhatEachApplicationAndTheSweepReport) {
    const std::string notesCache = "app com.example.Notes Library/Caches/com.example.Notes cache";
    const std::string notesRuleCache = "app com.example.Notes Library/Caches/Notes Cache cache";
    const std::string notesLog = "app com.example.Notes Library/Logs/com.example.Notes log";
    const std::string xcode = "app com.apple.dt.Xcode Library/Developer/Xcode/DerivedData cache";
    const std::string chromeCaches[] = {"browser com.google.Chrome Library/Caches/Google/Chrome cache",
                                        "browser com.google.Chrome Library/Caches/com.google.Chrome cache"};
    const std::string chromeLog = "browser com.google.Chrome Library/Logs/com.google.Chrome log";
    const std::string goneCache = "orphan com.gone.App Library/Caches/com.gone.App cache";
    const std::string goneStuff = "orphan GoneStuff Library/Caches/GoneStuff cache";  // no id: its own name
    const std::string goneLog = "orphan com.gone.Other Library/Logs/com.gone.Other log";

    struct Case {
        JunkFileFinderConfig config;
        std::set<std::string> expected;
    };
    const Case cases[] = {
        {appConfig(true, true, true, true),
         {notesCache, notesRuleCache, notesLog, xcode, chromeCaches[0], chromeCaches[1], chromeLog, goneCache,
          goneStuff, goneLog}},
        {appConfig(true, false, false, false), {notesCache, notesRuleCache, goneCache, goneStuff}},
        {appConfig(false, true, false, false), {notesLog, chromeLog, goneLog}},
        // The development environment's files are caches like any other's.
        {appConfig(false, false, true, false), {}},
        {appConfig(true, false, true, false), {notesCache, notesRuleCache, xcode, goneCache, goneStuff}},
        {appConfig(false, false, false, true), {chromeCaches[0], chromeCaches[1]}},
    };
    for (const auto& c : cases) {
        AppScene s;
        EXPECT_EQ(s.run(c.config), c.expected);
        EXPECT_FALSE(s.recorder->offMain);
        EXPECT_EQ(s.recorder->finished, 1);
        ASSERT_FALSE(s.recorder->calls.empty());
        EXPECT_EQ(s.recorder->calls.back(), "finish");
    }
}

TEST(AppJunkFinderTest, ExclusionsSplitFoldersAndLeaveOutApplicationsAndIds) {
    AppScene s;
    s.tree.file("Library/Caches/com.example.Notes/Keep/kept").file("Library/Caches/com.example.Notes/Keep/other");
    s.finder->exclubeFilesUrls = {platform::URL::fileURL(s.tree.library("Caches/com.example.Notes/Keep/kept")),
                                  platform::URL::fileURL(s.tree.library("Caches/GoneStuff"))};
    s.finder->exclubeAppUrls = {platform::URL::fileURL(s.tree.root() + "/Applications/Chrome.app")};
    s.finder->exclubeAppIds = {"COM.GONE.APP"};
    auto found = s.run(appConfig(true, false, false, true));
    EXPECT_EQ(found, (std::set<std::string>{
                         "app com.example.Notes Library/Caches/Notes Cache cache",
                         "app com.example.Notes Library/Caches/com.example.Notes/cache.db.0 cache",
                         "app com.example.Notes Library/Caches/com.example.Notes/cache.db.1 cache",
                         "app com.example.Notes Library/Caches/com.example.Notes/Keep/other cache",
                     }));
    // Chrome isn't scanned, and its caches aren't offered as a gone
    // application's either.
    EXPECT_TRUE(s.recorder->internetCaches.empty());
}

// Lists an application outside the usual folders first.
struct StrayFirst : AppRegistry {
    std::string stray;
    std::optional<std::vector<std::string>> applicationPaths() const override {
        auto paths = AppRegistry::applicationPaths().value_or(std::vector<std::string>{});
        paths.insert(paths.begin(), stray);
        return paths;
    }
};

TEST(AppJunkFinderTest, ApplicationsOfTheUsualFoldersComeFirst) {
    AppScene s;
    s.tree.app("Stray", "com.example.Stray", "/Opt").cache("com.example.Stray");
    auto registry = std::make_shared<StrayFirst>();
    registry->stray = s.tree.root() + "/Opt/Stray.app";
    AppRegistry::setShared(registry);
    s.run(appConfig(true, false, false, false));
    std::vector<std::string> order;
    for (const auto& j : s.recorder->appJunk) order.push_back(j.bundleID.origin());
    EXPECT_EQ(order, (std::vector<std::string>{"com.example.Notes", "com.example.Stray"}));
    EXPECT_EQ(s.recorder->appJunk.back().appURL.path(), registry->stray);
}

TEST(AppJunkFinderTest, StopDuringTheApplicationPartEndsIt) {
    AppScene s;
    junk_testing::SizingGate gate(s.tree.library("Caches/com.example.Notes"));
    s.finder->start(appConfig(true, true, true, true));
    ASSERT_TRUE(pumpMainLoopUntil([&] { return gate.reached.isSet(); }));
    auto run = s.finder->appFileFinder->context->workItems.at(0);
    s.finder->stop();
    EXPECT_EQ(s.finder->appFileFinder->context, nullptr);
    gate.resumed.set();
    ASSERT_TRUE(run->wait(testing_support::kPatience));
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(s.recorder->finished, 0);
    EXPECT_TRUE(s.recorder->orphans.empty());
    EXPECT_TRUE(s.recorder->internetCaches.empty());
}

TEST(AppJunkFinderTest, ProgressRisesThroughBothFinders) {
    AppScene s;
    // Held in the application part until a fraction has landed, so that
    // at least one more lands after it.
    junk_testing::SizingGate gate(s.tree.library("Caches/com.example.Notes"));
    s.finder->start(appConfig(true, true, true, true));
    ASSERT_TRUE(pumpMainLoopUntil([&] { return gate.reached.isSet() && !s.recorder->progress.empty(); }));
    size_t before = s.recorder->progress.size();
    gate.resumed.set();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return s.recorder->finished > 0 && s.recorder->progress.size() > before; }));
    for (size_t i = 1; i < s.recorder->progress.size(); ++i)
        EXPECT_LE(s.recorder->progress[i - 1], s.recorder->progress[i]) << i;
    EXPECT_GE(s.recorder->progress.front(), 0.0);
    EXPECT_LE(s.recorder->progress.back(), 1.0);
    EXPECT_EQ(s.finder->progress->currentIndex(), 3);  // every part closed
}

}  // namespace
