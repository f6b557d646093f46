#include "startup/LaunchdManagedItemsFinder.h"

#include "StartupFixture.h"
#include "platform/Dispatch.h"
#include "platform/LoginItemsList.h"
#include "support/MainLoopPump.h"
#include "support/RecordingSink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <map>

namespace {

using Kind = Core::LaunchItemType::Kind;
using testing_support::pumpMainLoopUntil;

class Listener final : public Core::LaunchItemsFinderDelegate {
public:
    void launchItemsFinderDidFind(const Core::LaunchItem& item) override {
        if (finished || !platform::dispatch::isMainThread()) misordered = true;
        items.push_back(item);
    }
    void launchItemsFinderDidFinish() override {
        if (!platform::dispatch::isMainThread()) misordered = true;
        ++finishes;
        finished = true;
    }
    // Path (and login item, if any) -> kind.
    std::map<std::string, Kind> kinds() const {
        std::map<std::string, Kind> out;
        for (const auto& item : items) {
            std::string key = item.url().path();
            if (const auto* info = item.itemType().appLoginItemInfo())
                key += info->loginItemBundle ? " > " + info->loginItemBundle->bundleID : " > session";
            out[key] = item.itemType().kind();
        }
        return out;
    }

    std::vector<Core::LaunchItem> items;
    bool finished = false;
    int finishes = 0;
    bool misordered = false;
};

class LaunchdManagedItemsFinderTest : public testing_support::StartupTest {
protected:
    std::shared_ptr<Listener> search() {
        auto listener = std::make_shared<Listener>();
        auto finder = Core::makeLaunchItemsFinder(listener);
        finder->start();
        EXPECT_TRUE(pumpMainLoopUntil([&] { return listener->finished; }));
        EXPECT_TRUE(testing_support::drainMainQueue());
        EXPECT_EQ(listener->finishes, 1);
        EXPECT_FALSE(listener->misordered);
        return listener;
    }

    testing_support::ScopedRecordingSink analytics;
};

TEST_F(LaunchdManagedItemsFinderTest, ListsAgentsAndDaemonsButNotTheHostsOwnGlobalOnes) {
    const std::string globalAgent = launchPlist(globalAgents(), "com.vendor.updater.plist", "com.vendor.updater");
    const std::string daemon = launchPlist(globalDaemons(), "com.vendor.daemon.plist", "com.vendor.daemon");
    // The host's own, told by the path: left out whatever their labels.
    launchPlist(globalDaemons(), "com.oxmerl.MerlSweeper.PrivilegedHelperTool.plist", "com.vendor.innocent");
    launchPlist(globalAgents(), "com.oxmerl.MerlSweeper.agent.plist", "");
    // A label of the host's in a file of another name is listed.
    const std::string borrowed = launchPlist(globalAgents(), "com.other.plist", "com.oxmerl.MerlSweeper.agent");
    const std::string userAgent = launchPlist(userAgents(), "com.oxmerl.MerlSweeper.user.plist", "com.oxmerl.MerlSweeper.user");
    const std::string backup = launchPlist(userAgents(), "com.vendor.plist.bak", "com.vendor.bak");
    const std::string hidden = launchPlist(userAgents(), ".hidden.plist", "com.vendor.hidden");
    launchPlist(userAgents(), "readme.txt", "com.vendor.txt");
    launchPlist(userAgents() + "/nested", "deep.plist", "com.vendor.deep");
    std::filesystem::create_symlink(globalAgent, userAgents() + "/linked.plist");

    auto found = search()->kinds();
    EXPECT_EQ(found, (std::map<std::string, Kind>{{globalAgent, Kind::globalAgent},
                                                  {borrowed, Kind::globalAgent},
                                                  {daemon, Kind::globalDaemon},
                                                  {userAgent, Kind::userAgent},
                                                  {backup, Kind::userAgent},
                                                  {hidden, Kind::userAgent},
                                                  {userAgents() + "/linked.plist", Kind::userAgent}}));
    const auto events = analytics.service->events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].first, 91);
    EXPECT_TRUE(events[0].second.empty());
}

TEST_F(LaunchdManagedItemsFinderTest, LoginItemsComeFromApplicationsAndTheSessionList) {
    const std::string notes = app("Notes", "com.example.Notes");
    loginItem(notes, "NotesHelper", "com.example.Notes.helper");
    loginItem(notes, "NotesSync", "com.example.Notes.sync");
    testing_support::writeFile(notes + "/Contents/Library/LoginItems/Broken.app/Contents/Info.plist", "junk");
    const std::string plain = app("Plain", "com.example.Plain");
    tree.app("Elsewhere", "com.example.Elsewhere", "/Users/Shared");
    const std::string elsewhere = tree.root() + "/Users/Shared/Elsewhere.app";
    testing_support::writeFile(tree.root() + "/Applications/NotAnApp.app/Contents/Library/LoginItems/x", "");
    writeLoginItemsList({platform::fileURLWithPath(plain).absoluteString(),
                         platform::fileURLWithPath(elsewhere).absoluteString(),
                         "file://" + tree.root() + "/Applications/NotAnApp.app/", "file:///gone/Gone.app/"});

    auto listener = search();
    EXPECT_EQ(listener->kinds(), (std::map<std::string, Kind>{{notes + " > com.example.Notes.helper", Kind::appLoginItem},
                                                              {notes + " > com.example.Notes.sync", Kind::appLoginItem},
                                                              {plain + " > session", Kind::appLoginItem},
                                                              {elsewhere + " > session", Kind::appLoginItem}}));
    for (const auto& item : listener->items) {
        const auto* info = item.itemType().appLoginItemInfo();
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->appBundle.url, item.url());
    }
}

TEST_F(LaunchdManagedItemsFinderTest, AnEmptyMachineStillFinishesOnce) {
    std::filesystem::remove_all(tree.root() + "/Applications");
    auto listener = search();
    EXPECT_TRUE(listener->items.empty());
}

TEST_F(LaunchdManagedItemsFinderTest, AfterStopOnlyTheEndIsReported) {
    launchPlist(userAgents(), "a.plist", "com.example.a");
    auto listener = std::make_shared<Listener>();
    auto finder = Core::makeLaunchItemsFinder(listener);
    finder->start();
    finder->stop();  // the final block can't have run: it needs this thread's main loop
    ASSERT_TRUE(pumpMainLoopUntil([&] { return listener->finished; }));
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_TRUE(listener->items.empty());
    EXPECT_EQ(listener->finishes, 1);

    // A new start searches afresh; the delegate can be swapped in between.
    auto second = std::make_shared<Listener>();
    finder->setDelegate(second);
    finder->start();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return second->finished; }));
    EXPECT_EQ(second->items.size(), 1u);
    EXPECT_EQ(listener->finishes, 1);
}

}  // namespace
