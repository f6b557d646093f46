// Runs "sweeper vendor" on the shipped documents. (Documents of the
// resources folder are read the same way, and tested below the command.)
#include "support/Sweeper.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

using VendorCommandTest = testing_support::SweeperTest;

TEST_F(VendorCommandTest, ShippedDocuments) {
    auto run = testing_support::runSweeper("--json vendor com.microsoft.Word");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out), json({{"id", "com.microsoft.Word"},
                                          {"vendor", "Microsoft"},
                                          {"group", "Microsoft Office"},
                                          {"organization", "microsoft"}}));
    run = testing_support::runSweeper("vendor localtool");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out),
              json({{"id", "localtool"}, {"vendor", "Other"}, {"group", nullptr}, {"organization", nullptr}}));
}

}  // namespace
