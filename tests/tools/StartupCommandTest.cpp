// Runs "sweeper startup" on a tree with fake launchd tools.
#include "startup/StartupFixture.h"
#include "support/Sweeper.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>

namespace {

using namespace testing_support;
using nlohmann::json;

class StartupCommandTest : public StartupTest {
protected:
    void SetUp() override {
        if (!sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
        tools.setDisabledOutput("disabled services = {\n\t\"com.vendor.agent\" => enabled\n"
                                "\t\"com.example.Notes.helper\" => disabled\n}\n");
        agent = launchPlist(globalAgents(), "com.vendor.agent.plist", "com.vendor.agent");
        own = launchPlist(globalDaemons(), "com.oxmerl.MerlSweeper.PrivilegedHelperTool.plist",
                          "com.oxmerl.MerlSweeper.PrivilegedHelperTool");
        notes = app("Notes", "com.example.Notes");
        helper = loginItem(notes, "NotesHelper", "com.example.Notes.helper");
    }
    SweeperRun sweeper(const std::string& args) {
        return runSweeper("--root '" + tree.root() + "' --home '" + tree.home() + "' " + args);
    }
    // Path (with " > " and the login item for login items) -> the item's JSON.
    std::map<std::string, json> listed() {
        std::map<std::string, json> items;
        const json doc = parsedOutput(sweeper("--json startup"));
        for (const auto& item : doc["items"]) {
            std::string key = item["path"];
            if (item["type"] == "appLoginItem") key += " > " + (item["loginItem"].is_null() ? "session" : std::string(item["loginItem"]));
            items[key] = item;
        }
        return items;
    }

    std::string agent, own, notes, helper;
};

TEST_F(StartupCommandTest, ListsEveryItemWithTypeLabelAndState) {
    auto items = listed();
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[agent], (json{{"path", agent}, {"type", "globalAgent"}, {"label", "com.vendor.agent"},
                                  {"enabled", true}, {"loginItem", nullptr}}));
    EXPECT_EQ(items[notes + " > com.example.Notes.helper"],
              (json{{"path", notes}, {"type", "appLoginItem"}, {"label", nullptr}, {"enabled", false},
                    {"loginItem", "com.example.Notes.helper"}}));

    SweeperRun text = sweeper("startup");
    ASSERT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("globalAgent   enabled   com.vendor.agent  " + agent), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("appLoginItem  disabled  com.example.Notes.helper  " + notes), std::string::npos) << text.out;
}

TEST_F(StartupCommandTest, SwitchesPropertyListsLoginItemBundlesAndApplications) {
    EXPECT_EQ(parsedOutput(sweeper("--json startup disable '" + agent + "'")), (json{{"changed", true}}));
    EXPECT_EQ(json::parse(sweeper("--json startup disable '" + agent + "'").out), (json{{"changed", false}}));

    EXPECT_EQ(json::parse(sweeper("--json startup enable '" + helper + "/'").out), (json{{"changed", true}}));

    SweeperRun run = sweeper("startup enable '" + notes + "'");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "enabled: " + notes + "\n");

    auto items = listed();
    EXPECT_EQ(items[agent]["enabled"], false);
    EXPECT_EQ(items[notes + " > com.example.Notes.helper"]["enabled"], true);
    EXPECT_EQ(items[notes + " > session"]["enabled"], true);

    EXPECT_EQ(sweeper("startup disable '" + notes + "'").status, 0);
    EXPECT_FALSE(listed().contains(notes + " > session"));
}

TEST_F(StartupCommandTest, AnythingElseIsRefused) {
    SweeperRun run = sweeper("startup enable '" + own + "'");
    EXPECT_EQ(run.status, 1) << "the host's own daemon is not listed";
    EXPECT_NE(run.err.find("not a listed launch agent"), std::string::npos) << run.err;
    EXPECT_EQ(sweeper("startup disable '" + tree.root() + "/nothing.plist'").status, 1);
    EXPECT_EQ(sweeper("startup enable").status, 2);
    EXPECT_EQ(sweeper("startup toggle '" + agent + "'").status, 2);
}

}  // namespace
