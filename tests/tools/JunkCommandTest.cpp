// Runs "sweeper junk" on a macOS-like tree with the shipped rules. Skipped
// in builds without the tools (the sanitizer presets).
#include "support/MacTreeBuilder.h"
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <set>
#include <string>

namespace {

using nlohmann::json;
using testing_support::parsedOutput;

class JunkCommandTest : public testing::Test {
protected:
    void SetUp() override {
        if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
        tree.app("Notes", "com.example.Notes").cache("com.example.Notes", 1, 3000).log("com.example.Notes");
        tree.app("Chrome", "com.google.Chrome").cache("com.google.Chrome");
        tree.cache("com.removed.Tool").cache("com.removed.Other");
        tree.file(".Trash/old.txt", "12345");
        testing_support::writeFileOfSize(tree.root() + "/Library/Caches/com.example.sys/a", 2000);
        testing_support::writeFileOfSize(tree.root() + "/Library/Caches/com.example.sys/keep", 10);
        testing_support::writeFileOfSize(tree.root() + "/private/var/log/system.log", 700);
    }
    json junk(const std::string& arguments) {
        return parsedOutput(testing_support::runSweeper(
            "--json --root '" + tree.root() + "' --home '" + tree.home() + "' junk " + arguments));
    }
    static std::set<std::string> paths(const json& files) {
        std::set<std::string> out;
        for (const auto& f : files) out.insert(f.at("path").get<std::string>());
        return out;
    }
    testing_support::MacTreeBuilder tree;
};

TEST_F(JunkCommandTest, EveryKeyAlwaysAndOneElementPerReport) {
    auto doc = junk("--exclude '" + tree.root() + "/Library/Caches/com.example.sys/keep' --exclude-id com.removed.Other");
    for (const char* key : {"systemCaches", "systemLogs", "trash", "diskImages", "appJunk", "orphanJunk",
                            "internetCaches", "purgeable"})
        EXPECT_TRUE(doc.contains(key)) << key;
    EXPECT_TRUE(doc.at("purgeable").is_null());  // no estimate on this system
    EXPECT_EQ(paths(doc.at("systemCaches")), std::set<std::string>{tree.root() + "/Library/Caches/com.example.sys/a"});
    EXPECT_EQ(doc.at("systemCaches")[0].at("size"), 2000);
    EXPECT_EQ(paths(doc.at("systemLogs")), std::set<std::string>{tree.root() + "/private/var/log/system.log"});
    EXPECT_EQ(doc.at("trash"), json::parse(R"([{"path": ")" + tree.home() + R"(/.Trash/old.txt", "size": 5}])"));

    ASSERT_EQ(doc.at("appJunk").size(), 1u);
    const auto& notes = doc.at("appJunk")[0];
    EXPECT_EQ(notes.at("bundleID"), "com.example.Notes");
    EXPECT_EQ(notes.at("appURL"), tree.root() + "/Applications/Notes.app");
    std::set<std::string> kinds;
    for (const auto& f : notes.at("files")) kinds.insert(f.at("kind").get<std::string>());
    EXPECT_EQ(kinds, (std::set<std::string>{"cache", "log"}));

    ASSERT_EQ(doc.at("internetCaches").size(), 1u);
    EXPECT_EQ(doc.at("internetCaches")[0].at("bundleID"), "com.google.Chrome");
    ASSERT_EQ(doc.at("orphanJunk").size(), 1u);
    EXPECT_EQ(doc.at("orphanJunk")[0].at("id"), "com.removed.Tool");
    EXPECT_EQ(paths(doc.at("orphanJunk")[0].at("files")), std::set<std::string>{tree.library("Caches/com.removed.Tool")});
}

TEST_F(JunkCommandTest, SwitchedOffCategoriesAreEmptyLists) {
    auto doc = junk("--no-system-caches --no-system-logs --no-dmg --no-trash --no-purgeable --no-app-caches "
                    "--no-app-logs --no-xcode --exclude-app '" + tree.root() + "/Applications/Chrome.app'");
    for (const char* key : {"systemCaches", "systemLogs", "trash", "diskImages", "appJunk", "orphanJunk"})
        EXPECT_EQ(doc.at(key), json::array()) << key;
    // The browser left out by its bundle: internet caches alone find nothing.
    EXPECT_EQ(doc.at("internetCaches"), json::array());
    auto browsers = junk("--no-system-caches --no-system-logs --no-dmg --no-trash --no-purgeable --no-app-caches "
                         "--no-app-logs --no-xcode");
    ASSERT_EQ(browsers.at("internetCaches").size(), 1u);
    EXPECT_EQ(browsers.at("appJunk"), json::array());
}

using JunkCommandUsageTest = testing_support::SweeperTest;

TEST_F(JunkCommandUsageTest, UnknownSwitchIsAUsageError) {
    EXPECT_EQ(testing_support::runSweeper("junk --no-such-thing").status, 2);
}

}  // namespace
