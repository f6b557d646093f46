// Runs "sweeper large" and "sweeper volumes". Skipped in builds without the
// tools.
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using testing_support::parsedOutput;
using testing_support::runSweeper;
using testing_support::writeFileOfSize;

namespace {

using LargeCommandTest = testing_support::SweeperTest;
using VolumesCommandTest = testing_support::SweeperTest;

TEST_F(LargeCommandTest, LogicalSizesLargestFirstBelowTheHomeOnly) {
    std::string home = dir / "home";
    writeFileOfSize(home + "/a", 1500);
    writeFileOfSize(home + "/b/c", 2500);
    writeFileOfSize(home + "/b/d", 1000);
    writeFileOfSize(home + "/empty", 0);
    writeFileOfSize(home + "/sys/Library/e", 5000);  // the root, inside the home
    writeFileOfSize(dir / "elsewhere", 9000);
    EXPECT_EQ(parsedOutput(runSweeper("--json --root '" + home + "/sys' --home '" + home +
                                                       "' large --min-size 1000 --exclude '" + home + "/b/d'")),
              json::parse(R"({"files":[{"path":")" + home + R"(/b/c","size":2500},{"path":")" + home +
                          R"(/a","size":1500}]})"));
}

TEST_F(VolumesCommandTest, RootFiguresAndEveryMount) {
    auto doc = parsedOutput(runSweeper("--json volumes"));
    EXPECT_GT(doc.at("root").at("total").get<int64_t>(), 0);
    EXPECT_LE(doc.at("root").at("free").get<int64_t>(), doc.at("root").at("total").get<int64_t>());
    EXPECT_TRUE(doc.at("ssd").is_boolean());
    // Each mount's figure is the reader's to get right (tested with it).
    EXPECT_TRUE(doc.at("mounts").contains("/proc"));
    EXPECT_TRUE(doc.at("mounts").contains("/"));
}

}  // namespace
