#include "Core/finder/FileFinder.h"

#include "Core/files/FileManager.h"
#include "Core/foundation/FileFinderContext.h"
#include "Core/rules/RuleManager.h"
#include "platform/Dispatch.h"
#include "support/Await.h"
#include "support/MacTreeBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

namespace {

using namespace Core;
using testing_support::MacTreeBuilder;

// Counts the walk's questions to the disk and can refuse to list chosen
// folders.
struct CountingFileSystem : FileSystem {
    mutable std::multiset<std::string> listed;
    mutable std::multiset<std::string> checked;
    std::set<std::string> unreadable;

    std::vector<URLResource> contents(const platform::URL& of, const std::vector<ResourceKey>& keys) const override {
        listed.insert(of.path());
        if (unreadable.contains(of.path())) throw FileError(EACCES, "cannot list", of.path());
        return FileSystem::contents(of, keys);
    }
    bool fileExists(const std::string& path) const override {
        checked.insert(path);
        return FileSystem::fileExists(path);
    }
    void reset() {
        listed.clear();
        checked.clear();
    }
};

struct Hit {
    std::optional<std::string> id;
    std::string path;
    std::string kind;
    std::shared_ptr<FileInfo> info;
    bool operator<(const Hit& o) const { return std::tie(path, id, kind) < std::tie(o.path, o.id, o.kind); }
};

// A tree, a rule document compiled against it, and a finder with a
// counting file system.
struct Scene {
    MacTreeBuilder tree;
    std::unique_ptr<RuleManager> manager;
    std::unique_ptr<AppFileRule> rule;
    std::shared_ptr<CountingFileSystem> fs = std::make_shared<CountingFileSystem>();
    std::unique_ptr<FileFinder> finder;

    explicit Scene(std::string_view doc) { tree.useLayout(); compile(doc); }
    void compile(std::string_view doc) {
        manager = std::make_unique<RuleManager>(doc, platform::Layout::shared(), "doc");
        rule = std::make_unique<AppFileRule>(*manager, true);
        finder = std::make_unique<FileFinder>(*rule, fs);
    }

    std::vector<Hit> find(const FileFinder::IsWanted& wanted) {
        std::vector<Hit> hits;
        finder->find(wanted, [&](const auto& id, const auto& info, const AppFileKind& kind, const RuleID&) {
            std::string path = info->url.path().substr(tree.home().size());
            hits.push_back({id ? std::optional(id->origin()) : std::nullopt, path, kind.rawValue(), info});
        });
        std::sort(hits.begin(), hits.end());
        return hits;
    }
    std::vector<Hit> findFor(std::string_view id) {
        auto ids = rule->matcherIDs(id);
        return find([ids](MatcherID m) { return ids.contains(m); });
    }
    std::vector<Hit> findAll() {
        return find([](MatcherID) { return true; });
    }
};

std::vector<std::string> paths(const std::vector<Hit>& hits) {
    std::vector<std::string> out;
    for (const auto& h : hits) out.push_back(h.path + (h.id ? " @" + *h.id : " @-"));
    return out;
}

TEST(FileFinderTest, ClaimsHoldAcrossWalksWithDifferentWants) {
    Scene s(R"(
com.a: {caches: {cache: ["Lib/Caches/com.a"]}}
"*": {caches: {cache: ["Lib/Caches/**"]}}
)");
    s.tree.cache("com.a").cache("com.b").cache("com.c");

    // The base walk: com.a's exact leaf isn't wanted, yet it claims its
    // folder first, so the base rule gets only the others.
    auto base = s.findFor("com.unknown");
    EXPECT_EQ(paths(base), (std::vector<std::string>{"/Library/Caches/com.b @com.b", "/Library/Caches/com.c @com.c"}));

    // The application's walk finds its folder under its bundle identifier,
    // and the base leaf, which it wants too, still can't take com.a.
    auto a = s.findFor("com.a");
    EXPECT_EQ(paths(a), (std::vector<std::string>{"/Library/Caches/com.a @com.a", "/Library/Caches/com.b @com.b",
                                                  "/Library/Caches/com.c @com.c"}));
    EXPECT_EQ(a[0].info->priority, 40);
    // One FileInfo per name for the whole cache.
    EXPECT_EQ(a[1].info, base[0].info);
}

TEST(FileFinderTest, EqualPrioritiesShareANameAndLowerOnesNeverTakeIt) {
    Scene s(R"(
com.a: {logs: {log: ["Lib/Logs/shared.log"]}}
com.b: {logs: {log: ["Lib/Logs/shared.log"]}}
com.c: {support: {log: ["Lib/Logs/owned.log"]}}
com.d: {logs: {log: ["Lib/Logs/owned.log"]}}
"*": {logs: {log: ["Lib/Logs/*.+\\.log"]}}
)");
    s.tree.file("Library/Logs/shared.log").file("Library/Logs/owned.log").file("Library/Logs/free.log");

    auto all = s.findAll();
    EXPECT_EQ(paths(all), (std::vector<std::string>{"/Library/Logs/free.log @-", "/Library/Logs/owned.log @com.c",
                                                    "/Library/Logs/shared.log @com.a",
                                                    "/Library/Logs/shared.log @com.b"}));
    auto shared = std::find_if(all.begin(), all.end(), [](const Hit& h) { return h.path == "/Library/Logs/shared.log"; });
    EXPECT_EQ(shared[0].info, shared[1].info);

    // com.d's leaf (40) and the base pattern (10) lose to com.c's (41).
    EXPECT_TRUE(s.findFor("com.d").size() == 1);  // only the free log, through the base rule
    EXPECT_EQ(s.findFor("com.d")[0].path, "/Library/Logs/free.log");
}

TEST(FileFinderTest, StringMatchersAskOncePerNameAndNeverList) {
    Scene s(R"(
com.a: {caches: {cache: ["Lib/Caches/com.a", "Lib/Caches/Sub/com.a"]}, logs: {log: ["Lib/Logs/com.a"]}}
)");
    s.tree.cache("com.a").folder("Library/Caches/Sub");

    EXPECT_EQ(paths(s.findAll()), (std::vector<std::string>{"/Library/Caches/com.a @com.a"}));
    EXPECT_TRUE(s.fs->listed.empty());
    // Caches, com.a, Sub, Sub/com.a, Logs below the library root: each
    // asked once.
    EXPECT_EQ(s.fs->checked.size(), 5u);
    EXPECT_EQ(std::set<std::string>(s.fs->checked.begin(), s.fs->checked.end()).size(), 5u);

    s.fs->reset();
    EXPECT_EQ(s.findAll().size(), 1u);
    EXPECT_TRUE(s.fs->checked.empty()) << "a repeat walk asks the disk nothing";
    EXPECT_TRUE(s.fs->listed.empty());
}

TEST(FileFinderTest, ListingMatchersListAFolderOncePerCache) {
    Scene s(R"(
"*": {caches: {cache: ["Lib/Caches/**", "Lib/Caches/*.+\\.tmp"]}, logs: {log: ["Lib/Caches/**/*.+\\.log"]}}
)");
    s.tree.cache("com.a").cache("com.b").file("Library/Caches/x.tmp").file("Library/Caches/com.a/run.log");

    auto first = s.findAll();
    EXPECT_EQ(s.fs->listed.count(s.tree.library("Caches")), 1u);
    EXPECT_EQ(s.fs->listed.count(s.tree.library("Caches/com.a")), 1u);
    auto second = s.findAll();
    EXPECT_EQ(s.fs->listed.count(s.tree.library("Caches")), 1u);
    ASSERT_EQ(first.size(), second.size());
    for (size_t i = 0; i < first.size(); ++i) EXPECT_EQ(first[i].info, second[i].info);

    s.finder->clearCache();
    s.findAll();
    EXPECT_EQ(s.fs->listed.count(s.tree.library("Caches")), 2u);
}

TEST(FileFinderTest, ReplayedResultsKeepCapturedIdsOnly) {
    Scene s(R"(
"*": {caches: {cache: ["Lib/Containers/**/*.+\\.cache"]}, support: {preference: ["Lib/Preferences/*(?<id>.+)\\.plist"]}}
com.owner: {logs: {log: ["Lib/Logs/*.+\\.txt"]}}
)");
    s.tree.file("Library/Containers/com.a/data.cache").preference("com.a").file("Library/Logs/x.txt");

    // First walk: the uncaptured leaf takes the id captured above it, and
    // the rule's bundle identifier stands in where nothing was captured.
    EXPECT_EQ(paths(s.findAll()),
              (std::vector<std::string>{"/Library/Containers/com.a/data.cache @com.a", "/Library/Logs/x.txt @com.owner",
                                        "/Library/Preferences/com.a.plist @com.a"}));
    // Replay: the stored results carry only what each matcher captured.
    EXPECT_EQ(paths(s.findAll()),
              (std::vector<std::string>{"/Library/Containers/com.a/data.cache @-", "/Library/Logs/x.txt @com.owner",
                                        "/Library/Preferences/com.a.plist @com.a"}));
}

TEST(FileFinderTest, MissingRootsAndUnwantedSubtreesCostNothing) {
    Scene s(R"(
com.a: {caches: {cache: ["Home/NoSuchFolder/com.a", "Home/NoSuchFolder/Sub/**"]}}
com.b: {caches: {cache: ["Lib/Caches/**"]}}
)");
    s.tree.cache("com.x");
    EXPECT_TRUE(s.findFor("com.a").empty());
    // The home is checked for the missing folder once; nothing is listed.
    EXPECT_EQ(s.fs->checked.count(s.tree.home() + "/NoSuchFolder"), 1u);
    EXPECT_TRUE(s.fs->listed.empty());
    EXPECT_EQ(s.fs->checked.count(s.tree.library()), 0u) << "com.b's subtree isn't wanted";

    s.fs->reset();
    EXPECT_TRUE(s.find([](MatcherID) { return false; }).empty());
    EXPECT_TRUE(s.fs->listed.empty());
    EXPECT_TRUE(s.fs->checked.empty());

    // A root folder that doesn't exist lists nothing and ends the walk.
    s.compile(R"(
"*": {caches: {cache: ["/NoSuchRoot/*"]}}
)");
    EXPECT_TRUE(s.findAll().empty());
}

TEST(FileFinderTest, UnreadableFoldersAreEmptyAndListedAgain) {
    Scene s(R"(
"*": {caches: {cache: ["Lib/Caches/*"]}}
)");
    s.tree.cache("com.a");
    s.fs->unreadable.insert(s.tree.library("Caches"));
    EXPECT_TRUE(s.findAll().empty());
    EXPECT_TRUE(s.findAll().empty());
    EXPECT_EQ(s.fs->listed.count(s.tree.library("Caches")), 2u) << "a failed listing isn't stored";
    s.fs->unreadable.clear();
    EXPECT_EQ(s.findAll().size(), 1u);
}

TEST(FileFinderTest, DSStoreIsSeenOnlyByItsExactName) {
    Scene s(R"(
"*": {caches: {cache: ["Lib/Caches/*"]}}
)");
    s.tree.cache("com.a").file("Library/Caches/.DS_Store");
    EXPECT_EQ(paths(s.findAll()), (std::vector<std::string>{"/Library/Caches/com.a @-"}));

    s.compile(R"(
"@": {caches: {cache: ["Lib/Caches/.DS_Store"]}}
)");
    EXPECT_EQ(paths(s.findAll()), (std::vector<std::string>{"/Library/Caches/.DS_Store @-"}));
}

TEST(FileFinderTest, NamesThatDifferInCaseAreTwoFiles) {
    Scene s(R"(
"*": {caches: {cache: ["Lib/Caches/*"]}}
"@": {logs: {log: ["Lib/Logs/Report.log"]}}
)");
    s.tree.file("Library/Caches/Data", "a").file("Library/Caches/data", "bb");
    s.tree.file("Library/Logs/report.log").file("Library/Logs/Report.log");
    EXPECT_EQ(paths(s.findAll()), (std::vector<std::string>{"/Library/Caches/Data @-", "/Library/Caches/data @-",
                                                            "/Library/Logs/Report.log @-"}));
    // A second walk answers from the cache the same way.
    EXPECT_EQ(s.findAll().size(), 3u);
}

TEST(FileFinderTest, InterruptionStopsBetweenNodes) {
    Scene s(R"(
"*": {caches: {cache: ["Lib/Caches/com.a", "Lib/Caches/com.b", "Lib/Caches/com.c"]}}
)");
    s.tree.cache("com.a").cache("com.b").cache("com.c");
    auto context = FileFinderContext::make([](platform::URL) {});
    auto queue = platform::dispatch::makeSerialQueue("test.walk");
    queue->setSpecific(FileFinderContext::specificKey(), context);
    std::vector<std::string> found;
    queue->sync([&] {
        s.finder->find([](MatcherID) { return true; },
                       [&](const auto&, const auto& info, const auto&, const auto&) {
                           found.push_back(info->url.lastPathComponent());
                           context->interrupt();
                       });
    });
    EXPECT_EQ(found, (std::vector<std::string>{"com.a"}));
    // The rest was never asked for.
    EXPECT_EQ(s.fs->checked.count(s.tree.library("Caches/com.b")), 0u);
}

// Counts the native directory walks of FileManager::size.
struct SizeCounter {
    std::atomic<int> calls{0};
    SizeCounter() {
        FileManager::setDirectorySizerForTesting([this](const char*, const std::atomic<bool>*, int32_t*) {
            ++calls;
            return int64_t{5000};
        });
    }
    ~SizeCounter() { FileManager::setDirectorySizerForTesting(nullptr); }
};

TEST(FileFinderTest, SizesAreMeasuredOncePerFile) {
    Scene s(R"(
com.a: {logs: {log: ["Lib/Logs/shared"]}, caches: {cache: ["Lib/Caches/one.db"]}}
com.b: {logs: {log: ["Lib/Logs/shared"]}}
)");
    s.tree.log("shared", 2).file("Library/Caches/one.db", std::string(1234, 'x'));
    SizeCounter counter;
    auto hits = s.findAll();
    ASSERT_EQ(hits.size(), 3u);
    std::vector<AppFileInfo> infos;
    for (const auto& h : hits) infos.push_back({h.info, AppFileKind::fromRawValue(h.kind), App::app(h.id.value_or(""))});
    auto files = s.finder->makeAppFiles(infos);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0].size(), 1234);
    EXPECT_EQ(files[1].size(), 5000);
    EXPECT_EQ(files[2].size(), 5000);
    EXPECT_EQ(files[2].owner(), App::app("com.b"));
    EXPECT_EQ(counter.calls, 1) << "the shared folder is summed once";
    s.finder->makeAppFiles(infos);
    EXPECT_EQ(counter.calls, 1);
}

TEST(FileFinderTest, SizingFromTwoThreadsMeasuresEachFileOnce) {
    Scene s(R"(
"*": {caches: {cache: ["Lib/Caches/*"]}}
)");
    for (int i = 0; i < 40; ++i) s.tree.cache("com.app" + std::to_string(i));
    SizeCounter counter;
    auto hits = s.findAll();
    ASSERT_EQ(hits.size(), 40u);
    std::vector<AppFileInfo> infos;
    for (const auto& h : hits) infos.push_back({h.info, AppFileKind::Case::cache, App::app("x")});
    std::vector<AppFile> first, second;
    testing_support::finishWithin([&] {
        std::thread a([&] { first = s.finder->makeAppFiles(infos); });
        second = s.finder->makeAppFiles(infos);
        a.join();
    }, "sizing from two threads");
    EXPECT_EQ(counter.calls, 40);
    for (size_t i = 0; i < infos.size(); ++i) {
        EXPECT_EQ(first[i].size(), 5000);
        EXPECT_EQ(second[i].size(), 5000);
    }
}

TEST(FileFinderTest, AFailedMeasurementLeavesTheFileMeasurableAgain) {
    Scene s(R"(
"*": {caches: {cache: ["Lib/Caches/*"]}}
)");
    s.tree.cache("com.a");
    auto hits = s.findAll();
    ASSERT_EQ(hits.size(), 1u);
    std::vector<AppFileInfo> infos{{hits[0].info, AppFileKind::Case::cache, App::app("x")}};
    FileManager::setDirectorySizerForTesting([](const char*, const std::atomic<bool>*, int32_t*) -> int64_t {
        throw std::runtime_error("disk gone");
    });
    EXPECT_THROW(s.finder->makeAppFiles(infos), std::runtime_error);
    SizeCounter counter;
    // Before the guard this waited forever on the semaphore the throw left taken.
    std::vector<AppFile> files;
    testing_support::finishWithin([&] { files = s.finder->makeAppFiles(infos); }, "the sizing after a failed one");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].size(), 5000);
}

}  // namespace
