#include "startup/ItemsStatusManager.h"

#include "StartupFixture.h"
#include "platform/LoginItemsList.h"

#include <gtest/gtest.h>

namespace {

using Core::ItemsStatusManager;
using testing_support::LogLines;
using Disabled = ItemsStatusManager::DisabledItems;

TEST(ParseDisabledItemsTest, ReadsQuotedLabelsTabsAndArrowsExactlyAsWritten) {
    const std::string output =
        "disabled services = {\n"
        "\t\"com.example.off\" => disabled\n"
        "\t\"com.example.on\" => enabled\r\n"
        "\t\"com.example.colon:name\" => disabled\n"  // three parts: skipped
        "\tplain.label =\t> disabled\n"               // the tab goes first, then "=>" becomes ":"
        "\tnot.a.pair disabled\n"
        "\t\"com.example.twice\" => disabled\n"
        "\t\"com.example.twice\" => enabled\n"        // a later line wins
        "\t\"com.example.empty\" =>\n"
        "other: a: b\n"
        "}";
    EXPECT_EQ(ItemsStatusManager::parseDisabledItems(output, "disabled"),
              (Disabled{{"com.example.off", true},
                        {"com.example.on", false},
                        {"plain.label", true},
                        {"com.example.twice", false},
                        {"com.example.empty", false}}));
}

TEST(ParseDisabledItemsTest, LineEndsOfEveryKindSplitLines) {
    // NEL, LINE SEPARATOR and PARAGRAPH SEPARATOR end lines as LF and CR do.
    const std::string output = "a => true\xC2\x85" "b => true\xE2\x80\xA8" "c => false\xE2\x80\xA9" "d => true\x0C" "e=>true";
    EXPECT_EQ(ItemsStatusManager::parseDisabledItems(output, "true"),
              (Disabled{{"a", true}, {"b", true}, {"c", false}, {"d", true}, {"e", true}}));
    EXPECT_TRUE(ItemsStatusManager::parseDisabledItems("", "disabled").empty());
}

TEST(ParseDisabledItemsTest, TheWordPairFollowsTheSystemVersion) {
    EXPECT_EQ(ItemsStatusManager::disabledWord({12, 6, 1}), "true");
    EXPECT_EQ(ItemsStatusManager::disabledWord({13, 0, 0}), "disabled");
    EXPECT_EQ(ItemsStatusManager::disabledWord({15, 1, 0}), "disabled");
    // Under the older pair, "disabled" is no word for disabled.
    EXPECT_EQ(ItemsStatusManager::parseDisabledItems("\"x\" => disabled\n\"y\" => true", "true"),
              (Disabled{{"x", false}, {"y", true}}));
}

class ItemsStatusRefreshTest : public testing_support::StartupTest {};

TEST_F(ItemsStatusRefreshTest, AsksLaunchctlForTheCurrentUserWithTheRootsWordPair) {
    tools.setDisabledOutput("disabled services = {\n\t\"com.a\" => true\n\t\"com.b\" => false\n\t\"com.c\" => disabled\n}\n");
    tools.setSystemVersion("12.7");
    ItemsStatusManager::shared();  // the first use fills it
    tools.clearCalls();
    refreshStatus();
    EXPECT_EQ(ItemsStatusManager::shared().disabledItemsDict(), (Disabled{{"com.a", true}, {"com.b", false}, {"com.c", false}}));
    EXPECT_EQ(tools.calls(), (std::vector<std::string>{"id -u", "launchctl print-disabled user/501"}));

    tools.setSystemVersion("13.0");
    refreshStatus();
    EXPECT_EQ(ItemsStatusManager::shared().disabledItemsDict(), (Disabled{{"com.a", false}, {"com.b", false}, {"com.c", true}}));
    EXPECT_EQ(ItemsStatusManager::shared().disabledEntry("com.c"), true);
    EXPECT_EQ(ItemsStatusManager::shared().disabledEntry("com.unknown"), std::nullopt);
}

TEST_F(ItemsStatusRefreshTest, WithoutLaunchctlTheListIsEmptyAndTheLogSaysWhy) {
    tools.setDisabledOutput("\"com.a\" => disabled\n");
    refreshStatus();
    ASSERT_EQ(ItemsStatusManager::shared().disabledItemsDict().size(), 1u);

    tools.removeLaunchctl();
    LogLines log;
    refreshStatus();
    EXPECT_TRUE(ItemsStatusManager::shared().disabledItemsDict().empty());
    EXPECT_NE(log.text().find(tree.root() + "/bin/launchctl\" is not available"), std::string::npos) << log.text();
}

TEST_F(ItemsStatusRefreshTest, SpecialAppsAreTheLoginItemsListsExistingEntries) {
    const std::string notes = app("Notes", "com.example.Notes");
    writeLoginItemsList({platform::fileURLWithPath(notes).absoluteString(), "file:///no/such/App.app/",
                         "https://example.com/"});
    refreshStatus();
    auto special = ItemsStatusManager::shared().specialAPPStatusDict();
    ASSERT_TRUE(special);
    EXPECT_EQ(*special, (std::vector<platform::URL>{platform::URL::fileURL(notes)}));
    EXPECT_TRUE(ItemsStatusManager::shared().containsSpecialApp(platform::URL::fileURL(notes + "/")));

    testing_support::writeFile(loginItemsListPath(), "not a property list");
    refreshStatus();
    EXPECT_FALSE(ItemsStatusManager::shared().specialAPPStatusDict());
    EXPECT_FALSE(ItemsStatusManager::shared().containsSpecialApp(platform::URL::fileURL(notes)));
}

}  // namespace
