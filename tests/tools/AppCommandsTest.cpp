// Runs "sweeper apps", "app-files" and "leftovers" on a macOS-like tree with
// the shipped rules.
#include "support/BundleBuilder.h"
#include "support/MacTreeBuilder.h"
#include "support/Sweeper.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <set>

namespace {

using nlohmann::json;
using testing_support::parsedOutput;

class AppCommandsTest : public testing::Test {
protected:
    void SetUp() override {
        if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
        tree.application("Notes", "com.example.Notes")
            .app("Notes Helper", "com.example.Notes.Helper")
            .app("Paint", "com.acme.Paint", "/Volumes/Disk")
            .preference("org.gone.Tool")
            .cache("org.gone.Tool")
            .preference("net.kept.Tool");
        testing_support::writeBundle(tree.root() + "/Applications/Notes.app/Contents/Library/LoginItems/H.app",
                                     testing_support::BundleContents("com.example.Notes.Helper"));
        // An alias in /Applications to an application kept elsewhere.
        std::filesystem::create_directory_symlink(tree.root() + "/Volumes/Disk/Paint.app",
                                                  tree.root() + "/Applications/Paint.app");
    }
    testing_support::SweeperRun sweeper(const std::string& arguments) {
        return testing_support::runSweeper("--json --root '" + tree.root() + "' --home '" + tree.home() + "' " +
                                           arguments);
    }
    testing_support::MacTreeBuilder tree;
};

TEST_F(AppCommandsTest, AppsListsBundlesAndFoldedHelpers) {
    const json out = parsedOutput(sweeper("apps"));
    std::map<std::string, json> apps;
    for (const auto& app : out.at("apps")) apps[app.at("id").get<std::string>()] = app;
    ASSERT_EQ(apps.size(), 2u) << out;
    EXPECT_EQ(apps["com.example.Notes"].at("bundles"), json({tree.root() + "/Applications/Notes.app"}));
    EXPECT_EQ(apps["com.example.Notes"].at("subApps"), json({"com.example.Notes.Helper"}));
    EXPECT_EQ(apps["com.acme.Paint"].at("bundles"), json({tree.root() + "/Volumes/Disk/Paint.app"}));
    EXPECT_EQ(apps["com.acme.Paint"].at("subApps"), json::array());
}

TEST_F(AppCommandsTest, AppFilesFindsIdsWithoutRegardToCaseAndNamesUnknownOnes) {
    auto run = sweeper("app-files COM.EXAMPLE.NOTES com.example.Missing");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("com.example.Missing"), std::string::npos) << run.err;
    auto apps = json::parse(run.out).at("apps");
    ASSERT_EQ(apps.size(), 1u);
    EXPECT_EQ(apps[0].at("id"), "com.example.Notes");
    EXPECT_EQ(apps[0].at("bundleFiles").size(), 1u);
    std::set<std::string> kinds;
    for (const auto& file : apps[0].at("files")) {
        kinds.insert(file.at("kind").get<std::string>());
        ASSERT_EQ(file.at("owner").size(), 1u);
        EXPECT_GE(file.at("size").get<int64_t>(), 0);
    }
    EXPECT_TRUE(kinds.contains("cache") && kinds.contains("preference") && kinds.contains("support")) << run.out;
}

TEST_F(AppCommandsTest, LeftoversListsRemovedApplicationsAndTheirFiles) {
    auto out = parsedOutput(sweeper("leftovers --files --exclude-id net.kept.Tool"));
    EXPECT_EQ(out.at("ids"), json({"org.gone.Tool"}));
    std::set<std::string> paths;
    for (const auto& file : out.at("files").at("org.gone.Tool")) paths.insert(file.at("path"));
    EXPECT_EQ(paths, (std::set<std::string>{tree.library("Caches/org.gone.Tool"),
                                            tree.library("Preferences/org.gone.Tool.plist")}));

    EXPECT_EQ(parsedOutput(sweeper("leftovers")),
              json({{"ids", {"org.gone.Tool", "net.kept.Tool"}}, {"files", json::object()}}));
}

}  // namespace
