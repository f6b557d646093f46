// Core::SMC against a simulated controller: every type's decoding, zero
// values, strings and the key listing, with the printed messages.
#include "SmcTesting.h"
#include "monitor/SMC.h"
#include "support/LogLines.h"

#include <gtest/gtest.h>

#include <cstring>

using Core::SMC;
using monitor_testing::floatBytes;
using monitor_testing::key;
using monitor_testing::ScopedSmcTable;

TEST(SMCTest, GetValueDecodesEveryType) {
    // N = 0x1234 = 4660 for every two-byte row.
    const std::vector<uint8_t> n = {0x12, 0x34};
    struct Row {
        const char* type;
        std::vector<uint8_t> bytes;
        double expected;
    };
    const std::vector<Row> rows = {
        {"ui8 ", {0xC8, 0x01}, 200},       {"ui16", n, 4660},
        {"ui32", {0x01, 0x02, 0x03, 0x04}, 0x01020304},
        {"sp1e", n, 4660 / 16384.0},       {"sp3c", n, 4660 / 4096.0},
        {"sp5b", n, 4660 / 2048.0},        {"sp5a", n, 4660 / 1024.0},
        {"sp78", n, 4660 / 256.0},         {"sp87", n, 4660 / 128.0},
        {"sp96", n, 4660 / 64.0},          {"spb4", n, 4660 / 16.0},
        {"spf0", n, 4660},
        {"sp78", {0xFF, 0x80}, 65408 / 256.0},  // unsigned: no negative degrees
        {"flt ", floatBytes(-12.5f), -12.5},
        {"fpe2", {0x1F, 0x43}, 2000},  // b0 x 64 + b1 / 4 in integers: the fraction is dropped
    };
    std::vector<platform::SmcKeyEntry> entries;
    for (size_t i = 0; i < rows.size(); ++i) entries.push_back(key("K0" + std::to_string(10 + i), rows[i].type, rows[i].bytes));
    entries.push_back(key("KXXX", "ch8*", {0x41, 0x42}));
    ScopedSmcTable table(entries);
    for (size_t i = 0; i < rows.size(); ++i) {
        auto value = SMC::shared().getValue("K0" + std::to_string(10 + i));
        ASSERT_TRUE(value) << rows[i].type;
        EXPECT_DOUBLE_EQ(*value, rows[i].expected) << rows[i].type;
    }
    EXPECT_FALSE(SMC::shared().getValue("KXXX"));  // no decoder for the type
}

TEST(SMCTest, ZeroIsNoValueExceptForTheFanModeKeys) {
    ScopedSmcTable table({key("TC0P", "sp78", {0, 0}), key("F0Md", "ui8 ", {0}), key("F1Md", "ui8 ", {0}),
                          key("FS! ", "ui16", {0, 0}), key("FEmp", "ui8 ", {})});
    EXPECT_FALSE(SMC::shared().getValue("TC0P"));
    EXPECT_EQ(SMC::shared().getValue("F0Md"), 0.0);
    EXPECT_EQ(SMC::shared().getValue("F1Md"), 0.0);
    EXPECT_EQ(SMC::shared().getValue("FS! "), 0.0);
    EXPECT_FALSE(SMC::shared().getValue("FEmp"));  // size 0
}

TEST(SMCTest, FailedReadsPrintTheKeyAndTheError) {
    ScopedSmcTable table({key("RPlt", "{fds", {0, 0, 0, 0, ' ', 'j', '3', '1', '4', ' ', ' ', ' ', ' ', ' ', ' ', '\t', 'x'}),
                          key("TC0P", "sp78", {0x2D, 0x00})});
    testing_support::LogLines log;
    EXPECT_FALSE(SMC::shared().getValue("NOPE"));
    EXPECT_FALSE(SMC::shared().getStringValue("NOPE"));
    EXPECT_EQ(SMC::shared().getStringValue("RPlt"), "j314");
    EXPECT_FALSE(SMC::shared().getStringValue("TC0P"));
    EXPECT_FALSE(SMC::shared().getValue("TOOLONG"));
    EXPECT_EQ(log.taken(), (std::vector<std::string>{
                               "Error read(NOPE): (iokit/common) data was not found",
                               "Error read(): (iokit/common) data was not found",
                               "unsupported data type sp78 for key: TC0P",
                               "Error read(TOOLONG): (iokit/common) invalid argument",
                           }));
}

TEST(SMCTest, AllKeysWalksTheIndexToTheCount) {
    {
        ScopedSmcTable table({key("#KEY", "ui32", {0, 0, 0, 3}), key("FNum", "ui8 ", {1}), key("TC0P", "sp78", {1, 0})});
        EXPECT_EQ(SMC::shared().getAllKeys(), (std::vector<std::string>{"#KEY", "FNum", "TC0P"}));
    }
    {
        // A count short of the table lists what it reaches, one index past it.
        ScopedSmcTable table({key("#KEY", "ui32", {0, 0, 0, 1}), key("FNum", "ui8 ", {1}), key("TC0P", "sp78", {1, 0})});
        EXPECT_EQ(SMC::shared().getAllKeys(), (std::vector<std::string>{"#KEY", "FNum"}));
    }
    ScopedSmcTable table({key("FNum", "ui8 ", {1})});
    testing_support::LogLines log;
    EXPECT_TRUE(SMC::shared().getAllKeys().empty());
    ASSERT_FALSE(log.taken().empty());
    EXPECT_EQ(log.taken().back(), "ERROR no keys count found");
}
