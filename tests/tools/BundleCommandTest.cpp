// Runs "sweeper bundle" on an application with a helper. (Wrapped
// applications and their containers are tested below the command.)
#include "support/BundleBuilder.h"
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

namespace {

using nlohmann::json;
using testing_support::parsedOutput;
using testing_support::BundleContents;
using testing_support::writeBundle;

using BundleCommandTest = testing_support::SweeperTest;

TEST_F(BundleCommandTest, ApplicationWithHelper) {
    writeBundle(dir / "Notes.app", BundleContents("com.example.Notes").named("Notes"));
    writeBundle(dir / "Notes.app/Contents/Library/LoginItems/Helper.app", BundleContents("com.example.Notes.helper"));
    EXPECT_EQ(parsedOutput(testing_support::runSweeper("--json bundle Notes.app", dir.str())),
              json({{"bundleID", "com.example.Notes"},
                    {"bundleIDs", {"com.example.Notes", "com.example.Notes.helper"}},
                    {"bundleNames", {"Notes", "Helper.app"}}}));
}

TEST_F(BundleCommandTest, NoApplication) {
    std::filesystem::create_directories(dir / "Empty.app");
    auto run = testing_support::runSweeper("bundle '" + dir / "Empty.app" + "'");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no application"), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty());
}

}  // namespace
