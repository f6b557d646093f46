// The SMC plain functions against a simulated controller: decoding, the
// key-information cache and failed reads.
#include "SmcTesting.h"
#include "monitor/SMCFunctions.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Core;
using monitor_testing::floatBytes;
using monitor_testing::key;
using monitor_testing::ScopedSmcTable;

namespace {

SMCVal_t value(uint32_t size, const char* type, std::vector<uint8_t> bytes) {
    SMCVal_t val{};
    val.dataSize = size;
    std::memcpy(val.dataType, type, 4);
    std::memcpy(val.bytes, bytes.data(), bytes.size());
    return val;
}

}  // namespace

TEST(SMCFunctionsTest, FloatFromValDecodesByTypeAndSize) {
    EXPECT_FLOAT_EQ(SMCFloatFromVal(value(4, "flt ", floatBytes(2150.5f))), 2150.5f);
    EXPECT_FLOAT_EQ(SMCFloatFromVal(value(2, "fpe2", {0x1F, 0x43})), 2000.75f);  // 14 integer bits, 2 fraction
    EXPECT_FLOAT_EQ(SMCFloatFromVal(value(2, "ui16", {0x12, 0x34})), 0x1234);
    EXPECT_FLOAT_EQ(SMCFloatFromVal(value(1, "ui8 ", {0xC8})), 200.0f);
    // The size must fit the type; size 0 is -1.0 whatever the type.
    EXPECT_FLOAT_EQ(SMCFloatFromVal(value(0, "ui8 ", {0x05})), -1.0f);
    EXPECT_FLOAT_EQ(SMCFloatFromVal(value(2, "ui8 ", {0x05})), -1.0f);
    EXPECT_FLOAT_EQ(SMCFloatFromVal(value(2, "flt ", {0x05})), -1.0f);
    EXPECT_FLOAT_EQ(SMCFloatFromVal(value(2, "sp78", {0x05})), -1.0f);
    EXPECT_FLOAT_EQ(SMCGetSP78(value(2, "sp78", {0x2D, 0x80})), 45.5f);
    EXPECT_FLOAT_EQ(SMCGetSP78(value(2, "sp78", {0xFF, 0x00})), 255.0f);  // unsigned
}

TEST(SMCFunctionsTest, TextAndNumberHelpers) {
    EXPECT_EQ(_strtoul("TC0P", 4, 16), 0x54433050u);
    EXPECT_EQ(_strtoul("\x01\x02", 2, 10), 0x0102u);
    EXPECT_EQ(_strtoul("\x05", 0, 10), 0u);
    // Base 16 takes bytes as signed: a high byte below the top spills its sign.
    EXPECT_EQ(_strtoul("\x00\x80", 2, 10), 0x80u);
    EXPECT_EQ(_strtoul("\x00\x80", 2, 16), 0xFFFFFF80u);
    char text[5];
    _ultostr(text, 0x7B666473);
    EXPECT_STREQ(text, "{fds");
    EXPECT_FLOAT_EQ(_strtof("\x00\x05", 2, 2), 1.25f);
    EXPECT_FLOAT_EQ(_strtof("\xFF\xFF", 2, 2), 16383.75f);
}

TEST(SMCFunctionsTest, ReadKeyFillsTheRecordAndFailsClean) {
    ScopedSmcTable table({key("F0Ac", "flt ", floatBytes(1200.0f)), key("FNum", "ui8 ", {2})});
    ASSERT_EQ(SMCOpen(), 0);
    SMCVal_t val;
    ASSERT_EQ(SMCReadKey("F0Ac", &val), 0);
    EXPECT_STREQ(val.key, "F0Ac");
    EXPECT_EQ(val.dataSize, 4u);
    EXPECT_STREQ(val.dataType, "flt ");
    EXPECT_FLOAT_EQ(SMCFloatFromVal(val), 1200.0f);

    EXPECT_NE(SMCReadKey("F9Ac", &val), 0);
    EXPECT_EQ(val.dataSize, 0u);
    EXPECT_STREQ(val.dataType, "");
    EXPECT_FLOAT_EQ(SMCFloatFromVal(val), -1.0f);
    // A key of another length is refused, not read past its end.
    EXPECT_NE(SMCReadKey("FNu", &val), 0);
    EXPECT_NE(SMCReadKey("FNumb", &val), 0);
    EXPECT_EQ(SMCClose(), 0);
    // Closed: the connection is gone.
    EXPECT_NE(SMCReadKey("FNum", &val), 0);
}

TEST(SMCFunctionsTest, TheCacheHoldsAHundredKeys) {
    auto name = [](int i) { return "K" + std::string(i < 10 ? "00" : i < 100 ? "0" : "") + std::to_string(i); };
    std::vector<platform::SmcKeyEntry> entries;
    for (int i = 0; i < 101; ++i) {
        entries.push_back(key(name(i), "ui8 ", {static_cast<uint8_t>(i)}));
    }
    ScopedSmcTable table(entries);
    SMCOpen();
    SMCVal_t val;
    for (int i = 0; i < 101; ++i) {
        ASSERT_EQ(SMCReadKey(name(i).c_str(), &val), 0) << name(i);
        EXPECT_FLOAT_EQ(SMCFloatFromVal(val), static_cast<float>(i));
    }
    EXPECT_EQ(SMCKeyInfoCacheCountForTesting(), 100);
    EXPECT_EQ(table.device().keyInfoCalls(), 101u);
    // A cached key asks the controller no more; the 101st asks every time.
    ASSERT_EQ(SMCReadKey("K000", &val), 0);
    EXPECT_EQ(table.device().keyInfoCalls(), 101u);
    ASSERT_EQ(SMCReadKey("K100", &val), 0);
    EXPECT_FLOAT_EQ(SMCFloatFromVal(val), 100.0f);
    EXPECT_EQ(table.device().keyInfoCalls(), 102u);
    EXPECT_EQ(SMCKeyInfoCacheCountForTesting(), 100);
    SMCClose();
}
