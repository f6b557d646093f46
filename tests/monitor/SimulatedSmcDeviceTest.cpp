// The --table reader: a good table, and bad tables that must fail with a
// message and never crash.
#include "platform/SimulatedSmcDevice.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using platform::SimulatedSmcDevice;

TEST(SimulatedSmcDeviceTest, ReadsKeysTypesAndBytesInOrder) {
    std::string error;
    auto device = SimulatedSmcDevice::parse(
        R"([{"key": "FS! ", "type": "ui16", "bytes": ""}, {"key": "TC0P", "type": "sp78", "bytes": "2dFf"},
            {"key": "#KEY", "type": "ui32", "bytes": "00000002", "note": "extra members are ignored"}])",
        error);
    ASSERT_TRUE(device) << error;
    ASSERT_EQ(device->entries().size(), 3u);
    EXPECT_EQ(platform::smc::fourCharText(device->entries()[0].key), "FS! ");
    EXPECT_TRUE(device->entries()[0].bytes.empty());
    EXPECT_EQ(device->entries()[1].bytes, (std::vector<uint8_t>{0x2D, 0xFF}));
    EXPECT_EQ(platform::smc::fourCharText(device->entries()[2].type), "ui32");
    EXPECT_TRUE(SimulatedSmcDevice::parse("[]", error));
}

TEST(SimulatedSmcDeviceTest, BadTablesFailWithTheCause) {
    const std::string longHex(66, '0');
    const std::vector<std::pair<std::string, std::string>> bad = {
        {"", "not JSON"},
        {"[{\"key\": \"TC0P\"", "not JSON"},
        {"{\"key\": \"TC0P\"}", "not an array"},
        {"[3]", "entry 0: not an object"},
        {R"([{"key": "TC0", "type": "sp78", "bytes": ""}])", "\"key\""},
        {R"([{"key": "TC0PX", "type": "sp78", "bytes": ""}])", "\"key\""},
        {R"([{"key": "TC\u00e9P", "type": "sp78", "bytes": ""}])", "\"key\""},
        {R"([{"key": "TC\tP", "type": "sp78", "bytes": ""}])", "\"key\""},
        {R"([{"key": 1234, "type": "sp78", "bytes": ""}])", "\"key\""},
        {R"([{"key": "TC0P", "type": "sp7", "bytes": ""}])", "\"type\""},
        {R"([{"key": "TC0P", "type": "sp78"}])", "\"bytes\""},
        {R"([{"key": "TC0P", "type": "sp78", "bytes": "123"}])", "\"bytes\""},
        {R"([{"key": "TC0P", "type": "sp78", "bytes": "zz"}])", "\"bytes\" is not hex"},
        {R"([{"key": "TC0P", "type": "sp78", "bytes": ")" + longHex + "\"}]", "\"bytes\""},
        {R"([{"key": "TC0P", "type": "sp78", "bytes": ""}, {"key": "TC0P", "type": "sp78", "bytes": ""}])",
         "entry 1: the key \"TC0P\" is repeated"},
    };
    for (const auto& [text, cause] : bad) {
        std::string error;
        EXPECT_FALSE(SimulatedSmcDevice::parse(text, error)) << text;
        EXPECT_NE(error.find(cause), std::string::npos) << text << " -> " << error;
    }
    // Exactly 32 bytes still fit.
    std::string error;
    EXPECT_TRUE(SimulatedSmcDevice::parse(R"([{"key": "TC0P", "type": "sp78", "bytes": ")" + std::string(64, 'a') + "\"}]", error));
}

TEST(SimulatedSmcDeviceTest, LoadNamesTheFile) {
    testing_support::TempDir dir;
    std::string error;
    EXPECT_FALSE(SimulatedSmcDevice::load(dir / "missing.json", error));
    EXPECT_NE(error.find(dir / "missing.json"), std::string::npos);
    EXPECT_FALSE(SimulatedSmcDevice::load(dir.str(), error));  // a folder
    EXPECT_NE(error.find(dir.str()), std::string::npos);
    testing_support::writeFile(dir / "bad.json", "[{]");
    EXPECT_FALSE(SimulatedSmcDevice::load(dir / "bad.json", error));
    EXPECT_NE(error.find(dir / "bad.json"), std::string::npos);
}
