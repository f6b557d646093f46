// Runs "sweeper bundle" on an application with a helper and on a wrapped
// iOS application whose container lies in the home of --home.
#include "support/BundleBuilder.h"
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

namespace {

using nlohmann::json;
using testing_support::BundleSpec;
using testing_support::writeBundle;

class BundleCommandTest : public testing::Test {
protected:
    void SetUp() override {
        if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
    }
    testing_support::TempDir dir;
};

TEST_F(BundleCommandTest, ApplicationWithHelper) {
    writeBundle(dir / "Notes.app", BundleSpec("com.example.Notes").named("Notes"));
    writeBundle(dir / "Notes.app/Contents/Library/LoginItems/Helper.app", BundleSpec("com.example.Notes.helper"));
    auto run = testing_support::runSweeper("--json bundle Notes.app", dir.str());
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out), json({{"bundleID", "com.example.Notes"},
                                          {"bundleIDs", {"com.example.Notes", "com.example.Notes.helper"}},
                                          {"bundleNames", {"Notes", "Helper.app"}}}));
}

TEST_F(BundleCommandTest, WrappedApplicationWithItsContainer) {
    writeBundle(dir / "Game.app/WrappedBundle", BundleSpec("com.ios.game").named("Game").flatForm());
    const std::string home = dir / "home";
    const std::string uuid = "0A1B2C3D-4E5F-6789-ABCD-EF0123456789";
    testing_support::writeContainerMetadata(home + "/Library/Containers/" + uuid, "com.ios.game");
    auto run = testing_support::runSweeper("--home '" + home + "' bundle '" + dir / "Game.app" + "'");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out),
              json({{"bundleID", "com.ios.game"}, {"bundleIDs", {"com.ios.game", uuid}}, {"bundleNames", {"Game"}}}));
}

TEST_F(BundleCommandTest, NoApplication) {
    std::filesystem::create_directories(dir / "Empty.app");
    auto run = testing_support::runSweeper("bundle '" + dir / "Empty.app" + "'");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no application"), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty());
}

}  // namespace
