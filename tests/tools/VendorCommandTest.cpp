// Runs "sweeper vendor" on the shipped documents. (Documents of the
// resources folder are read the same way, and tested below the command.)
#include "support/Sweeper.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using testing_support::parsedOutput;

using VendorCommandTest = testing_support::SweeperTest;

TEST_F(VendorCommandTest, ShippedDocuments) {
    EXPECT_EQ(parsedOutput(testing_support::runSweeper("--json vendor com.microsoft.Word")),
              json({{"id", "com.microsoft.Word"},
                    {"vendor", "Microsoft"},
                    {"group", "Microsoft Office"},
                    {"organization", "microsoft"}}));
    EXPECT_EQ(parsedOutput(testing_support::runSweeper("vendor localtool")),
              json({{"id", "localtool"}, {"vendor", "Other"}, {"group", nullptr}, {"organization", nullptr}}));
}

}  // namespace
