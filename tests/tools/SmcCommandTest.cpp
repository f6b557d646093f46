// Runs "sweeper smc" and "sweeper sensors" on key tables of the test's own.
// Skipped in builds without the tools (the sanitizer presets).
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstring>

namespace {

using nlohmann::json;
using testing_support::parsedOutput;

class SmcCommandTest : public testing::Test {
protected:
    void SetUp() override {
        if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
        float speed = 2150.5f;
        unsigned char raw[4];
        std::memcpy(raw, &speed, 4);
        char hex[9];
        std::snprintf(hex, sizeof hex, "%02x%02x%02x%02x", raw[0], raw[1], raw[2], raw[3]);
        table = write("table.json", std::string(R"([
            {"key": "#KEY", "type": "ui32", "bytes": "00000005"},
            {"key": "FNum", "type": "ui8 ", "bytes": "01"},
            {"key": "F0Ac", "type": "flt ", "bytes": ")") + hex + R"("},
            {"key": "TC0P", "type": "sp78", "bytes": "3240"},
            {"key": "RPlt", "type": "{fds", "bytes": "000000004a33313420202020202020200000"}])");
    }
    std::string write(const std::string& name, const std::string& content) {
        testing_support::writeFile(dir / name, content);
        return dir / name;
    }
    testing_support::SweeperRun sweeper(const std::string& arguments) {
        return testing_support::runSweeper("--json " + arguments);
    }
    testing_support::TempDir dir;
    std::string table;
};

TEST_F(SmcCommandTest, KeysAndValuesThroughTheClass) {
    EXPECT_EQ(parsedOutput(sweeper("smc keys --table '" + table + "'")),
              (json{{"keys", {"#KEY", "FNum", "F0Ac", "TC0P", "RPlt"}}}));

    auto read = sweeper("smc read --table '" + table + "' TC0P RPlt NOPE TC0P");
    ASSERT_EQ(read.status, 0) << read.err;
    auto values = json::parse(read.out).at("values");
    ASSERT_EQ(values.size(), 4u);
    EXPECT_EQ(values[0], (json{{"key", "TC0P"}, {"value", 50.25}, {"string", nullptr}}));
    EXPECT_EQ(values[1], (json{{"key", "RPlt"}, {"value", nullptr}, {"string", "J314"}}));
    EXPECT_EQ(values[2], (json{{"key", "NOPE"}, {"value", nullptr}, {"string", nullptr}}));
    EXPECT_EQ(values[3], values[0]);
    // The library's messages go to standard error.
    EXPECT_NE(read.err.find("Error read(NOPE): "), std::string::npos);
}

TEST_F(SmcCommandTest, BadTablesAndKeysAreRefused) {
    // Which tables are bad is the reader's to say (tested with it); the
    // command names the file and stops.
    std::string path = write("bad.json", "[{\"key\": \"TC0P\"");
    auto run = sweeper("smc keys --table '" + path + "'");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(path), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty());
    EXPECT_EQ(sweeper("sensors --table '" + (dir / "missing.json") + "'").status, 1);
    EXPECT_EQ(sweeper("smc read --table '" + table + "' TC0P TC0").status, 2);
    EXPECT_EQ(sweeper("smc plain --table '" + table + "' 'TC0P '").status, 2);
    EXPECT_EQ(sweeper("smc read").status, 2);
}

TEST_F(SmcCommandTest, SensorsFromATableAndHidServices) {
    std::string hid = write("hid.json", R"([{"product": "PMU tdie1", "temperature": 48.5},
        {"product": "pACC MTR Temp Sensor0", "temperature": 61.0}, {"temperature": 99}, {"product": "NAND"}])");
    EXPECT_EQ(parsedOutput(sweeper("sensors --table '" + table + "' --hid '" + hid + "'")),
              (json{{"fans", {{{"actualSpeed", 2150.5}, {"minimumSpeed", -1.0}, {"maximumSpeed", -1.0}}}},
                    {"cpuTemperature", 50.25},
                    {"universalCpuTemperature", 50.25},
                    {"siliconTemperatures", {{"PMU tdie1", 48.5}, {"pACC MTR Temp Sensor0", 61.0}}},
                    {"siliconCpuTemperature", 61.0}}));
    EXPECT_EQ(sweeper("sensors --hid '" + write("bad-hid.json", "[{\"product\": 3}]") + "'").status, 1);
}

}  // namespace
