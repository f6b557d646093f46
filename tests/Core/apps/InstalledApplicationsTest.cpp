#include "Core/apps/InstalledApplications.h"

#include "Core/apps/AppRegistry.h"
#include "platform/Layout.h"
#include "support/BundleBuilder.h"
#include "support/MacTreeBuilder.h"
#include "support/ScopedShared.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

namespace {

using namespace Core;
using testing_support::MacTreeBuilder;

std::vector<std::string> paths(const std::vector<platform::URL>& urls) {
    std::vector<std::string> out;
    for (const auto& url : urls) out.push_back(url.path());
    return out;
}

// Fixed answers in place of the system's registry; nullopt plays a failed
// query.
struct FixedRegistry : AppRegistry {
    std::optional<std::vector<std::string>> listed;
    std::optional<std::vector<std::string>> ids;
    std::map<std::string, std::vector<std::string>> byID;
    std::optional<std::vector<std::string>> applicationPaths() const override { return listed; }
    std::optional<std::vector<std::string>> registeredBundleIDs() const override { return ids; }
    std::vector<std::string> applicationPaths(const std::string& id) const override {
        auto it = byID.find(id);
        return it == byID.end() ? std::vector<std::string>{} : it->second;
    }
};

using ScopedRegistry = testing_support::ScopedShared<AppRegistry>;

TEST(AppRegistryTest, ListsApplicationFoldersAsTheSystemWould) {
    MacTreeBuilder tree;
    tree.useLayout()
        .app("Notes", "com.example.Notes")
        .app("Paint", "com.acme.Paint", "/Applications/Acme")           // a vendor's folder
        .app("Console", "com.example.Console", "/Applications/Utilities")  // also below /Applications: once
        .app("Clock", "com.example.Clock", "/System/Applications")
        .app("Hidden", "com.example.Hidden", "/Applications/.hidden")
        .app("Nested", "com.example.Nested", "/Applications/Notes.app/Contents/Library/LoginItems");
    testing_support::writeBundle(tree.home() + "/Applications/Mine.app", testing_support::BundleContents("com.me.Mine"));
    testing_support::writeBundle(tree.root() + "/Elsewhere/Linked.app", testing_support::BundleContents("com.x.Linked"));
    std::filesystem::create_directory_symlink(tree.root() + "/Elsewhere/Linked.app", tree.root() + "/Applications/Linked.app");
    std::filesystem::create_directory_symlink(tree.root() + "/Nowhere.app", tree.root() + "/Applications/Broken.app");

    AppRegistry registry;
    auto listed = registry.applicationPaths();
    ASSERT_TRUE(listed);
    std::multiset<std::string> got(listed->begin(), listed->end());
    const std::string apps = tree.root() + "/Applications/";
    EXPECT_EQ(got, (std::multiset<std::string>{apps + "Acme/Paint.app", tree.root() + "/Elsewhere/Linked.app",
                                               apps + "Notes.app", apps + "Utilities/Console.app",
                                               tree.root() + "/System/Applications/Clock.app",
                                               tree.home() + "/Applications/Mine.app"}));

    // Nested bundles are registered, but only a listed bundle's own id
    // leads to it.
    auto ids = registry.registeredBundleIDs();
    ASSERT_TRUE(ids);
    EXPECT_NE(std::find(ids->begin(), ids->end(), "com.example.Nested"), ids->end());
    EXPECT_EQ(registry.applicationPaths("COM.EXAMPLE.NOTES"), std::vector<std::string>{apps + "Notes.app"});
    EXPECT_TRUE(registry.applicationPaths("com.example.Nested").empty());
}

TEST(InstalledApplicationsTest, MergesBothListingsOnceAndKeepsOnlyExistingRegisteredBundles) {
    MacTreeBuilder tree;
    tree.useLayout().app("Notes", "com.example.Notes").app("Paint", "com.acme.Paint");
    const std::string notes = tree.root() + "/Applications/Notes.app";
    const std::string paint = tree.root() + "/Applications/Paint.app";
    auto registry = std::make_shared<FixedRegistry>();
    registry->listed = std::vector<std::string>{notes, "", notes};
    registry->ids = std::vector<std::string>{"com.example.Notes", "com.acme.Paint", "com.gone.App"};
    registry->byID = {{"com.example.Notes", {notes}}, {"com.acme.Paint", {paint}}, {"com.gone.App", {"/gone/App.app"}}};
    ScopedRegistry scoped(registry);
    EXPECT_EQ(paths(installedApplicationURLs()), (std::vector<std::string>{notes, paint}));

    // Either listing failing leaves the other's answer.
    registry->listed.reset();
    EXPECT_EQ(paths(installedApplicationURLs()), (std::vector<std::string>{notes, paint}));
    registry->ids.reset();
    EXPECT_TRUE(installedApplicationURLs().empty());
}

TEST(InstalledApplicationsTest, RootsKeepAliasTargetsAndThePathTestDropsVirtualMachinesAndHiddenFolders) {
    MacTreeBuilder tree;
    tree.useLayout().app("Notes", "com.example.Notes");
    const std::string notes = tree.root() + "/Applications/Notes.app";
    const std::string aliased = tree.root() + "/Volumes/Disk/Aliased.app";
    const std::string outside = tree.root() + "/Volumes/Disk/Outside.app";
    std::filesystem::create_directories(aliased);
    std::filesystem::create_directories(outside);
    std::filesystem::create_directory_symlink(aliased, tree.root() + "/Applications/Aliased.app");
    auto registry = std::make_shared<FixedRegistry>();
    registry->listed = std::vector<std::string>{
        notes, aliased, outside, tree.root() + "/Applications (Parallels)/{id} Applications.localized/Word.app",
        tree.root() + "/Applications/Kit.framework/Versions/A/Tool.app", tree.home() + "/VM.pvm/Win.app",
        tree.home() + "/.Trash/Old.app", tree.home() + "/Applications/Plug.bundle/Contents/Inner.app"};
    registry->ids = std::vector<std::string>{};
    ScopedRegistry scoped(registry);

    EXPECT_EQ(paths(installedApplicationURLs({tree.root() + "/Applications", tree.home()})),
              (std::vector<std::string>{notes, aliased}));
    EXPECT_EQ(paths(installedApplicationURLs()), (std::vector<std::string>{notes, aliased, outside}));
}

TEST(InstalledApplicationsTest, ARootInsideAHiddenFolderStillLists) {
    testing_support::TempDir temp;
    MacTreeBuilder tree(temp / ".cache/root");
    tree.useLayout().app("Notes", "com.example.Notes");
    EXPECT_EQ(paths(installedApplicationURLs()), std::vector<std::string>{tree.root() + "/Applications/Notes.app"});
}

}  // namespace
