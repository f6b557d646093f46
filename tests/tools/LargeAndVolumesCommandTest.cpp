// Runs "sweeper large" and "sweeper volumes". Skipped in builds without the
// tools.
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/statfs.h>

using nlohmann::json;
using testing_support::runSweeper;
using testing_support::TempDir;
using testing_support::writeFileOfSize;

namespace {

TEST(LargeCommandTest, LogicalSizesLargestFirstBelowTheHomeOnly) {
    if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
    TempDir dir;
    std::string home = dir / "home";
    writeFileOfSize(home + "/a", 1500);
    writeFileOfSize(home + "/b/c", 2500);
    writeFileOfSize(home + "/b/d", 1000);
    writeFileOfSize(home + "/empty", 0);
    writeFileOfSize(home + "/sys/Library/e", 5000);  // the root, inside the home
    writeFileOfSize(dir / "elsewhere", 9000);
    auto run = runSweeper("--json --root '" + home + "/sys' --home '" + home +
                          "' large --min-size 1000 --exclude '" + home + "/b/d'");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out),
              json::parse(R"({"files":[{"path":")" + home + R"(/b/c","size":2500},{"path":")" + home +
                          R"(/a","size":1500}]})"));
}

TEST(VolumesCommandTest, RootFiguresAndEveryMount) {
    if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
    auto run = runSweeper("--json volumes");
    ASSERT_EQ(run.status, 0) << run.err;
    auto doc = json::parse(run.out);
    EXPECT_GT(doc.at("root").at("total").get<int64_t>(), 0);
    EXPECT_LE(doc.at("root").at("free").get<int64_t>(), doc.at("root").at("total").get<int64_t>());
    EXPECT_TRUE(doc.at("ssd").is_boolean());
    struct statfs st {};
    ASSERT_EQ(::statfs("/proc", &st), 0);
    EXPECT_EQ(doc.at("mounts").at("/proc"), uint64_t(st.f_blocks));
    EXPECT_TRUE(doc.at("mounts").contains("/"));
}

}  // namespace
