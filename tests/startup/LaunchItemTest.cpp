#include "startup/LaunchItem.h"

#include "StartupFixture.h"
#include "startup/SpecialLoginItems.h"

#include <gtest/gtest.h>

#include <unordered_set>

namespace {

using Core::LaunchItem;
using Core::LaunchItemType;
using platform::URL;
using testing_support::LogLines;
using Calls = std::vector<std::string>;

class LaunchItemTest : public testing_support::StartupTest {
protected:
    LaunchItem agentItem(const std::string& path, LaunchItemType type = LaunchItemType::userAgent()) {
        return LaunchItem(URL::fileURL(path), std::move(type));
    }
    LaunchItem loginItemOf(const std::string& appPath, const std::string& loginPath) {
        return LaunchItem(URL::fileURL(appPath), LaunchItemType::appLoginItem({*Core::StartupBundle::read(URL::fileURL(appPath)),
                                                                               Core::StartupBundle::read(URL::fileURL(loginPath))}));
    }
    LaunchItem sessionItemOf(const std::string& appPath) {
        return LaunchItem(URL::fileURL(appPath),
                          LaunchItemType::appLoginItem({*Core::StartupBundle::read(URL::fileURL(appPath)), std::nullopt}));
    }
};

TEST_F(LaunchItemTest, LabelIsTheStringUnderLabelOnly) {
    EXPECT_EQ(agentItem(launchPlist(userAgents(), "a.plist", "com.example.a")).getPlistItemLabel(), "com.example.a");
    EXPECT_EQ(agentItem(launchPlist(userAgents(), "n.plist", "", {{"Label", int64_t(5)}})).getPlistItemLabel(), std::nullopt);
    testing_support::writeFile(userAgents() + "/broken.plist", "<?xml");
    EXPECT_EQ(agentItem(userAgents() + "/broken.plist").getPlistItemLabel(), std::nullopt);
    EXPECT_EQ(agentItem(userAgents() + "/missing.plist").getPlistItemLabel(), std::nullopt);
}

TEST_F(LaunchItemTest, AgentsAndDaemonsReadTheirStateByLabelAndIgnoreTheirDisabledKey) {
    tools.setDisabledOutput("\t\"com.example.on\" => enabled\n\t\"com.example.off\" => disabled\n");
    refreshStatus();
    const LaunchItem user = agentItem(launchPlist(userAgents(), "on.plist", "com.example.on", {{"Disabled", true}}));
    const LaunchItem global =
        agentItem(launchPlist(globalAgents(), "off.plist", "com.example.off", {{"Disabled", false}}), LaunchItemType::globalAgent());
    const LaunchItem daemon = agentItem(launchPlist(globalDaemons(), "d.plist", "com.example.on"), LaunchItemType::globalDaemon());
    const LaunchItem unlisted = agentItem(launchPlist(userAgents(), "u.plist", "com.example.unlisted"));
    const LaunchItem noLabel = agentItem(launchPlist(userAgents(), "x.plist", ""));
    EXPECT_TRUE(user.isAutoStartEnabled());
    EXPECT_FALSE(global.isAutoStartEnabled());
    EXPECT_TRUE(daemon.isAutoStartEnabled());
    EXPECT_FALSE(unlisted.isAutoStartEnabled());
    EXPECT_FALSE(noLabel.isAutoStartEnabled());
    EXPECT_EQ(user.bundleId(), "com.example.on");
    EXPECT_EQ(noLabel.bundleId(), "");
}

TEST_F(LaunchItemTest, ChangesToTheStateAlreadyHeldRunNothing) {
    tools.setDisabledOutput("\t\"com.example.on\" => enabled\n\t\"com.example.off\" => disabled\n");
    refreshStatus();
    tools.clearCalls();
    EXPECT_FALSE(agentItem(launchPlist(userAgents(), "on.plist", "com.example.on")).setAutoStartEnabled(true));
    EXPECT_FALSE(agentItem(launchPlist(userAgents(), "off.plist", "com.example.off")).setAutoStartEnabled(false));
    EXPECT_FALSE(agentItem(launchPlist(userAgents(), "u.plist", "com.example.unlisted")).setAutoStartEnabled(false))
        << "unlisted already reads as not enabled";
    const LaunchItem noLabel = agentItem(launchPlist(userAgents(), "x.plist", ""));
    EXPECT_FALSE(noLabel.setAutoStartEnabled(true));
    EXPECT_FALSE(noLabel.setAutoStartEnabled(false));
    EXPECT_EQ(tools.calls(), Calls{});
}

TEST_F(LaunchItemTest, ChangesRunLaunchctlForTheUserAndRefresh) {
    tools.setDisabledOutput("\t\"com.example.on\" => enabled\n");
    refreshStatus();
    tools.clearCalls();
    const LaunchItem on = agentItem(launchPlist(globalDaemons(), "on.plist", "com.example.on"), LaunchItemType::globalDaemon());
    EXPECT_TRUE(on.setAutoStartEnabled(false));
    EXPECT_EQ(tools.calls(), (Calls{"id -u", "launchctl disable user/501/com.example.on", "id -u",
                                    "launchctl print-disabled user/501"}));
    EXPECT_FALSE(on.isAutoStartEnabled());
    EXPECT_FALSE(on.setAutoStartEnabled(false));

    const LaunchItem unlisted = agentItem(launchPlist(userAgents(), "u.plist", "com.example.new"));
    tools.clearCalls();
    EXPECT_TRUE(unlisted.setAutoStartEnabled(true));
    EXPECT_EQ(tools.calls().at(1), "launchctl enable user/501/com.example.new");
    EXPECT_TRUE(unlisted.isAutoStartEnabled());
}

TEST_F(LaunchItemTest, WithoutLaunchctlChangesReturnFalseAndSayWhy) {
    tools.setDisabledOutput("\t\"com.example.on\" => enabled\n");
    refreshStatus();
    tools.removeLaunchctl();
    tools.clearCalls();
    LogLines log;
    EXPECT_FALSE(agentItem(launchPlist(userAgents(), "on.plist", "com.example.on")).setAutoStartEnabled(false));
    EXPECT_EQ(tools.calls(), Calls{});
    EXPECT_NE(log.text().find("disabling \"com.example.on\": the tool"), std::string::npos) << log.text();
}

TEST_F(LaunchItemTest, LoginItemBundlesGoByTheirIdentifier) {
    const std::string app = this->app("Notes", "com.example.Notes");
    const std::string helper = loginItem(app, "NotesHelper", "com.example.Notes.helper");
    tools.setDisabledOutput("\t\"com.example.Notes.helper\" => enabled\n\t\"com.example.Notes\" => disabled\n");
    refreshStatus();
    const LaunchItem item = loginItemOf(app, helper);
    EXPECT_TRUE(item.isAutoStartEnabled());
    EXPECT_EQ(item.bundleId(), "com.example.Notes.helper");
    EXPECT_FALSE(item.getPlistItemLabel());
    tools.clearCalls();
    EXPECT_TRUE(item.setAutoStartEnabled(false));
    EXPECT_EQ(tools.calls().at(1), "launchctl disable user/501/com.example.Notes.helper");
    EXPECT_FALSE(item.isAutoStartEnabled());
}

TEST_F(LaunchItemTest, ApplicationsWithoutLoginItemBundleLiveInTheSessionList) {
    const std::string app = this->app("Notes", "com.example.Notes");
    refreshStatus();
    const LaunchItem item = sessionItemOf(app);
    EXPECT_FALSE(item.isAutoStartEnabled());
    EXPECT_EQ(item.bundleId(), "com.example.Notes");
    tools.clearCalls();
    EXPECT_TRUE(item.setAutoStartEnabled(true));
    EXPECT_TRUE(item.isAutoStartEnabled());
    EXPECT_EQ(Core::sessionLoginItemURLs(), std::vector<URL>{URL::fileURL(app)});
    for (const auto& call : tools.calls()) EXPECT_EQ(call.find("launchctl enable"), std::string::npos) << call;

    EXPECT_TRUE(item.setAutoStartEnabled(false));
    EXPECT_FALSE(item.isAutoStartEnabled());
    EXPECT_EQ(Core::sessionLoginItemURLs(), std::vector<URL>{});
}

TEST_F(LaunchItemTest, LoginItemsOfOneApplicationAreDistinctItems) {
    const std::string app = this->app("Notes", "com.example.Notes");
    const LaunchItem a = loginItemOf(app, loginItem(app, "A", "com.example.a"));
    const LaunchItem b = loginItemOf(app, loginItem(app, "B", "com.example.b"));
    const LaunchItem session = sessionItemOf(app);
    std::unordered_set<LaunchItem> set{a, b, session, loginItemOf(app, loginItem(app, "A", "com.example.a"))};
    EXPECT_EQ(set.size(), 3u);
    EXPECT_NE(a, b);
    EXPECT_NE(a, session);
}

}  // namespace
