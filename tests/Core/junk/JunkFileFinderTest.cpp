#include "Core/junk/JunkFileFinder.h"

#include "Core/files/FileManager.h"
#include "JunkRecorder.h"
#include "platform/Layout.h"
#include "platform/MetadataIndex.h"
#include "platform/PurgeableSpace.h"
#include "support/Await.h"
#include "support/MacTreeBuilder.h"
#include "support/MainLoopPump.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <functional>

namespace {

using namespace Core;
using junk_testing::JunkRecorder;
using testing_support::MacTreeBuilder;
using testing_support::pumpMainLoopUntil;
using testing_support::writeFileOfSize;

constexpr JunkFileFinderConfig kSystemOnly{true, true, true, true, true, false, false, false, false};
constexpr JunkFileFinderConfig kNothing{};

// Allocated bytes of the regular files below `path`, counted here
// independently of the library.
int64_t allocated(const std::string& path) {
    int64_t total = 0;
    for (const auto& e : std::filesystem::recursive_directory_iterator(path)) {
        struct stat st {};
        if (::lstat(e.path().c_str(), &st) == 0 && S_ISREG(st.st_mode)) total += int64_t(st.st_blocks) * 512;
    }
    return total;
}

struct FakeSpace : platform::PurgeableSpace {
    explicit FakeSpace(int64_t estimate) : estimate(estimate) {}
    int64_t recoveryEstimate(const std::string&) override { return estimate; }
    int64_t estimate;
};

// A system tree and a home, with the scan's host.
struct JunkScene {
    MacTreeBuilder tree;
    std::shared_ptr<JunkRecorder> recorder = std::make_shared<JunkRecorder>();
    std::shared_ptr<JunkFileFinder> finder;

    JunkScene() {
        tree.useLayout();
        finder = JunkFileFinder::make();
        finder->delegate = recorder;
    }
    ~JunkScene() {
        platform::PurgeableSpace::setShared(nullptr);
        platform::MetadataIndex::setShared(nullptr);
        FileManager::setDirectorySizerForTesting(nullptr);
    }
    std::string sys(const std::string& absolute) const { return tree.root() + absolute; }
    void write(const std::string& absolute, size_t size = 100) const { writeFileOfSize(sys(absolute), size); }
    platform::URL url(const std::string& absolute) const { return platform::URL::fileURL(sys(absolute)); }
    bool run(const JunkFileFinderConfig& config) { return junk_testing::runToEnd(*finder, *recorder, config); }
};

TEST(JunkFileFinderTest, EverythingOffStillHandsOverDiskImagesAndFinishes) {
    JunkScene s;
    s.write("/Library/Caches/com.example.cache/a");
    s.write("/Library/Logs/install.log");
    s.tree.file(".Trash/old.txt");
    platform::PurgeableSpace::setShared(std::make_shared<FakeSpace>(5000));
    ASSERT_TRUE(s.run(kNothing));
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(s.recorder->calls, (std::vector<std::string>{"willScanDiskImages", "diskImages", "finish"}));
    EXPECT_TRUE(s.recorder->diskImages.at(0).empty());
    EXPECT_FALSE(s.recorder->offMain);
    for (size_t i = 1; i < s.recorder->progress.size(); ++i)
        EXPECT_LE(s.recorder->progress[i - 1], s.recorder->progress[i]);
}

TEST(JunkFileFinderTest, SystemCachesSkipNamesByEqualityAndSplitAroundExclusions) {
    JunkScene s;
    for (const char* name : {"CrashPlan", "com.apple.aned", "Desktop Pictures", "com.apple.aned.extra",
                             "colorsync", "com.example.big"})
        s.write(std::string("/Library/Caches/") + name + "/data", 3000);
    s.write("/Library/Caches/loose.db", 1234);
    s.write("/Library/Caches/Mixed/keep-a", 10);
    s.write("/Library/Caches/Mixed/keep-b", 10);
    s.write("/Library/Caches/Mixed/Deep/excluded", 10);
    s.write("/Library/Caches/Mixed/Deep/around", 10);
    s.write("/Library/Caches/Gone/x");
    s.write("/System/Library/Caches/com.apple.coresymbolicationd/data", 9000);
    s.finder->exclubeFilesUrls = {s.url("/Library/Caches/Mixed/Deep/excluded"), s.url("/Library/Caches/Gone"),
                                  s.url("/Library/Caches/Mixed/never-there")};
    ASSERT_TRUE(s.run({true, false, false, false, false, false, false, false, false}));

    EXPECT_EQ(JunkRecorder::relative(s.recorder->caches, s.tree.root()),
              (std::vector<std::string>{"/Library/Caches/Mixed/Deep/around", "/Library/Caches/Mixed/keep-a",
                                        "/Library/Caches/Mixed/keep-b", "/Library/Caches/colorsync",
                                        "/Library/Caches/com.apple.aned.extra", "/Library/Caches/com.example.big",
                                        "/Library/Caches/loose.db",
                                        "/System/Library/Caches/com.apple.coresymbolicationd"}));
    for (const auto& f : s.recorder->caches) {
        if (f.url().lastPathComponent() == "loose.db") EXPECT_EQ(f.size(), 1234);
        else if (std::filesystem::is_directory(f.url().path())) EXPECT_EQ(f.size(), allocated(f.url().path()));
        else EXPECT_EQ(f.size(), 10);
    }
    EXPECT_TRUE(s.recorder->logs.empty());
    EXPECT_TRUE(s.recorder->trash.empty());
}

TEST(JunkFileFinderTest, SystemLogsTakeTheKnownNamesWithTheirCase) {
    JunkScene s;
    const std::vector<std::string> counted = {
        "install.log", "system.log", "wifi.log",     "wifi-2.log",         "system.log0.gz",     "fsck_apfs.log",
        "fsck_hfs.log", "fsck_apfs_error.log", "system.2024-01-01.log", "asl", "DiagnosticMessages", "daily.out"};
    const std::vector<std::string> ignored = {"Install.log",   "wifix.log",  "system.log.0",  "system.log.0.gz",
                                              "install.log.gz", "daily.out.1", "DAILY.OUT",    "system.",
                                              "mysystem.log",  "wifi.logs",  "system.log1.gz2"};
    for (const auto& name : counted) s.write("/private/var/log/" + name);
    for (const auto& name : ignored) s.write("/private/var/log/" + name);
    s.write("/private/var/db/diagnostics/Persist/0001.tracev3", 5000);
    s.write("/Library/Logs/DiagnosticReports/crash.ips");
    s.write("/Library/Logs/Excluded/x.log");
    // The exclusion test doesn't reach the known logs.
    s.finder->exclubeFilesUrls = {s.url("/Library/Logs/Excluded"), s.url("/private/var/log/wifi.log")};
    ASSERT_TRUE(s.run({false, true, false, false, false, false, false, false, false}));

    std::vector<std::string> expected = {"/Library/Logs/DiagnosticReports", "/private/var/db/diagnostics"};
    for (const auto& name : counted) expected.push_back("/private/var/log/" + name);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(JunkRecorder::relative(s.recorder->logs, s.tree.root()), expected);
    EXPECT_TRUE(s.recorder->caches.empty());
}

TEST(JunkFileFinderTest, TrashFoldersAndPurgeableSpace) {
    JunkScene s;
    s.tree.file(".Trash/old.txt", "12345");
    s.tree.file(".Trash/Folder/a");
    s.tree.file(".Trash/kept");
    s.tree.file(".local/share/Trash/files/removed.txt", "123");
    s.tree.file(".local/share/Trash/info/removed.txt.trashinfo", "[Trash Info]");
    s.finder->exclubeFilesUrls = {platform::URL::fileURL(s.tree.home() + "/.Trash/kept")};
    platform::PurgeableSpace::setShared(std::make_shared<FakeSpace>(4096));
    ASSERT_TRUE(s.run({false, false, false, true, true, false, false, false, false}));

    EXPECT_EQ(JunkRecorder::relative(s.recorder->trash, s.tree.home()),
              (std::vector<std::string>{"/.Trash/Folder", "/.Trash/old.txt", "/.local/share/Trash/files/removed.txt"}));
    ASSERT_EQ(s.recorder->purgeable.size(), 1u);
    EXPECT_EQ(s.recorder->purgeable[0].size(), 4096);
    EXPECT_EQ(s.recorder->purgeable[0].url().path(), "/");
}

TEST(JunkFileFinderTest, PurgeableSpaceNeedsAnEstimate) {
    for (auto space : {std::shared_ptr<FakeSpace>(), std::make_shared<FakeSpace>(-1)}) {
        JunkScene s;
        platform::PurgeableSpace::setShared(space);  // null: the Linux default, which has none
        ASSERT_TRUE(s.run({false, false, false, false, true, false, false, false, false}));
        ASSERT_TRUE(testing_support::drainMainQueue());
        EXPECT_TRUE(s.recorder->purgeable.empty());
    }
}

// The index's answers: below the home and elsewhere.
struct FixedImages : platform::MetadataIndex {
    std::vector<platform::MetadataItem> items;
    platform::MetadataAnswer diskImages() const override { return items; }
};

TEST(JunkFileFinderTest, DiskImagesBelowTheHomeOnlyAndNotExcluded) {
    JunkScene s;
    auto index = std::make_shared<FixedImages>();
    const std::string home = s.tree.home();
    index->items = {{home + "/Downloads/tool.dmg", 5000},
                    {home + "/Downloads/Keep/kept.dmg", 10},
                    {home + "/renamed.bin", 700},
                    {"/Volumes/Other/elsewhere.dmg", 300}};
    platform::MetadataIndex::setShared(index);
    s.finder->exclubeFilesUrls = {platform::URL::fileURL(home + "/Downloads/Keep")};
    ASSERT_TRUE(s.run({false, false, true, false, false, false, false, false, false}));
    ASSERT_EQ(s.recorder->diskImages.size(), 1u);
    EXPECT_EQ(JunkRecorder::relative(s.recorder->diskImages[0], home),
              (std::vector<std::string>{"/Downloads/tool.dmg", "/renamed.bin"}));
    EXPECT_EQ(s.recorder->calls, (std::vector<std::string>{"willScanDiskImages", "diskImages", "finish"}));
}

TEST(JunkFileFinderTest, AFinderReleasedDuringItsRunReportsNothingMore) {
    JunkScene s;
    s.write("/Library/Caches/A/data");
    s.write("/Library/Caches/B/data");
    junk_testing::SizingGate gate(s.sys("/Library/Caches/A"));
    s.finder->start(kSystemOnly);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return gate.reached.isSet(); }));
    auto run = s.finder->interrupter->workItems.at(0);
    const auto before = s.recorder->calls;  // B may come before A in the listing
    s.finder.reset();
    gate.resumed.set();
    ASSERT_TRUE(run->wait(testing_support::kPatience));
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(s.recorder->calls, before);
}

// Stops the scan from the main thread while the run measures `folder`,
// and checks that nothing of a later category, and no finish, follows.
struct StopWhileSizing {
    std::string folder;
    std::vector<std::string> allowed;  // the categories that may have reported before the stop
};

class JunkFileFinderStopTest : public ::testing::TestWithParam<StopWhileSizing> {};

TEST_P(JunkFileFinderStopTest, NothingLaterAndNoFinish) {
    JunkScene s;
    s.write("/Library/Caches/A/data");
    s.write("/Library/Logs/B/data");
    s.tree.file(".Trash/C/data");
    s.tree.file("Library/Caches/com.example.app/data");
    platform::PurgeableSpace::setShared(std::make_shared<FakeSpace>(1));

    junk_testing::SizingGate gate(GetParam().folder.front() == '~' ? s.tree.home() + GetParam().folder.substr(1)
                                                                 : s.sys(GetParam().folder));
    s.finder->start(kSystemOnly);
    ASSERT_TRUE(pumpMainLoopUntil([&] { return gate.reached.isSet(); }));
    auto run = s.finder->interrupter->workItems.at(0);
    s.finder->stop();
    EXPECT_EQ(s.finder->interrupter, nullptr);
    gate.resumed.set();
    // The run ends at its next check; what it measured before lands after.
    ASSERT_TRUE(run->wait(testing_support::kPatience));
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(s.recorder->finished, 0);
    for (const auto& call : s.recorder->calls)
        EXPECT_NE(std::find(GetParam().allowed.begin(), GetParam().allowed.end(), call), GetParam().allowed.end())
            << call;
}

INSTANTIATE_TEST_SUITE_P(Stages, JunkFileFinderStopTest,
                         ::testing::Values(StopWhileSizing{"/Library/Caches/A", {"cache"}},
                                           StopWhileSizing{"/Library/Logs/B", {"cache", "log"}},
                                           StopWhileSizing{"~/.Trash/C", {"cache", "log", "trash"}}));

}  // namespace
