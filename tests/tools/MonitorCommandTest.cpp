// Runs "sweeper monitor" on this machine. Skipped in builds without the
// tools. (Maintenance runs end to end in the helper's command test.)
#include "support/Sweeper.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace {

using nlohmann::json;
using testing_support::parsedOutput;

using MonitorCommandTest = testing_support::SweeperTest;

TEST_F(MonitorCommandTest, OneReadingOfEveryFigure) {
    auto d = parsedOutput(testing_support::runSweeper("--json monitor --interval 0.05"));
    ASSERT_TRUE(d.at("cpu").is_array());
    ASSERT_EQ(d.at("cpuLoad").size(), d.at("cpu").size());
    for (const auto& share : d.at("cpuLoad")) {
        double sum = share.at("user").get<double>() + share.at("system").get<double>() + share.at("idle").get<double>();
        EXPECT_TRUE(sum == 0 || std::abs(sum - 1) < 1e-9) << share;
    }
    const auto& memory = d.at("memory");
    EXPECT_GT(memory.at("totalSize").get<uint64_t>(), 0u);
    EXPECT_GT(memory.at("pageSize").get<uint64_t>(), 0u);
    EXPECT_EQ(memory.at("statistics").size(), 10u);
    EXPECT_TRUE(memory.at("statistics").contains("total_uncompressed_pages_in_compressor"));
    EXPECT_TRUE(memory.at("freeFromStatistics").is_number());
    EXPECT_TRUE(d.at("network").contains("bytesIn"));
    EXPECT_GE(d.at("networkRate").at("bytesOut").get<double>(), 0);
    EXPECT_GT(d.at("disk").at("totalSize").get<int64_t>(), 0);
    for (const char* member : {"fans", "cpuTemperature", "universalCpuTemperature", "siliconTemperatures",
                               "siliconCpuTemperature"})
        EXPECT_TRUE(d.contains(member)) << member;

    EXPECT_EQ(testing_support::runSweeper("monitor --interval 0").status, 2);
    EXPECT_EQ(testing_support::runSweeper("monitor --interval -1").status, 2);
}

}  // namespace
