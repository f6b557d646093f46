// Fans and temperatures: over simulated controllers and HID services, and
// over a hwmon tree of the test's own through the Linux sources.
#include "SmcTesting.h"
#include "monitor/Sensors.h"
#include "platform/HidTemperatureSource.h"
#include "platform/HwmonSmcDevice.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Core;
using monitor_testing::floatBytes;
using monitor_testing::key;
using monitor_testing::ScopedSmcTable;
using monitor_testing::sp78;

namespace {

class ScopedServices {
public:
    explicit ScopedServices(std::shared_ptr<platform::HidTemperatureSource> source) {
        platform::HidTemperatureSource::setShared(std::move(source));
    }
    explicit ScopedServices(std::vector<platform::HidTemperatureService> services)
        : ScopedServices(std::make_shared<platform::SimulatedTemperatureSource>(std::move(services))) {}
    ~ScopedServices() { platform::HidTemperatureSource::setShared(nullptr); }
};

// A source that has no service list at all.
class NoListSource final : public platform::HidTemperatureSource {
public:
    std::optional<std::vector<platform::HidTemperatureService>> copyServices(int, int) override { return std::nullopt; }
};

}  // namespace

TEST(SensorsTest, FansFollowFNum) {
    {
        ScopedSmcTable table({key("FNum", "ui8 ", {0})});
        auto fans = GetFans();
        ASSERT_TRUE(fans);  // no fans is an empty array, not nothing
        EXPECT_TRUE(fans->empty());
    }
    {
        ScopedSmcTable table({key("TC0P", "sp78", {1, 0})});
        EXPECT_FALSE(GetFans());
    }
    {
        ScopedSmcTable table({key("FNum", "ui8 ", {2}), key("F0Ac", "flt ", floatBytes(1800)),
                              key("F0Mn", "fpe2", {0x1F, 0x40}), key("F0Mx", "ui16", {0x17, 0x70}),
                              key("F1Ac", "flt ", floatBytes(0))});
        auto fans = GetFans();
        ASSERT_TRUE(fans);
        ASSERT_EQ(fans->size(), 2u);
        EXPECT_FLOAT_EQ((*fans)[0].actualSpeed, 1800);
        EXPECT_FLOAT_EQ((*fans)[0].minimumSpeed, 2000);
        EXPECT_FLOAT_EQ((*fans)[0].maximumSpeed, 6000);
        EXPECT_FLOAT_EQ((*fans)[1].actualSpeed, 0);
        EXPECT_FLOAT_EQ((*fans)[1].minimumSpeed, -1);  // missing key
    }
    // Past the key characters there are no fans to ask for.
    ScopedSmcTable table({key("FNum", "ui8 ", {25}), key("FJAc", "flt ", floatBytes(900))});
    auto fans = GetFans();
    ASSERT_TRUE(fans);
    ASSERT_EQ(fans->size(), 20u);
    EXPECT_FLOAT_EQ(fans->back().actualSpeed, 900);
}

TEST(SensorsTest, CPUTemperatureNeedsTwoBytesOfSp78) {
    {
        ScopedSmcTable table({sp78("TC0P", 51.25)});
        EXPECT_FLOAT_EQ(GetCPUTemperature(), 51.25f);
    }
    {
        ScopedSmcTable table({key("TC0P", "flt ", floatBytes(51))});
        EXPECT_FLOAT_EQ(GetCPUTemperature(), -1.0f);
    }
    ScopedSmcTable table({key("TC0P", "sp78", {51, 0, 0})});
    EXPECT_FLOAT_EQ(GetCPUTemperature(), -1.0f);
}

TEST(SensorsTest, UniversalTemperatureFallsBackAtTheBounds) {
    {
        // The first key at 110.0 is passed over; 109.9 is taken.
        ScopedSmcTable table({sp78("TC0D", 110.0), sp78("TC0P", 109.9), sp78("TCAD", 50)});
        EXPECT_NEAR(getUniversalCPUTemperature(), 109.9, 0.004);
    }
    {
        // No CPU key under 110: the table's values from 10.0 to 120.0 count.
        ScopedSmcTable table({sp78("TC0D", 130), sp78("Tp0T", 9.9), sp78("Tp0H", 10.0), sp78("Te0S", 120.0),
                              sp78("Tf4E", 120.1), sp78("Tp09", 40.0)});
        EXPECT_NEAR(getUniversalCPUTemperature(), (10.0 + 120.0 + 40.0) / 3, 1e-9);
    }
    {
        ScopedSmcTable table({sp78("Tp0T", 9.9), sp78("Tf4E", 120.1)});
        EXPECT_DOUBLE_EQ(getUniversalCPUTemperature(), -1.0);
    }
}

TEST(SensorsTest, SiliconTemperaturesPreferTheCoreClusters) {
    {
        ScopedServices services(std::vector<platform::HidTemperatureService>{
            {"PMU tdie1", 90.0}, {"pACC MTR Temp Sensor0", 45.0}, {"eACC MTR Temp Sensor2", 52.5},
            {std::nullopt, 99.0}, {"gas gauge battery", std::nullopt}, {"pACC MTR Temp Sensor0", 47.0}});
        auto dictionary = SilliconTemperatureDictionary();
        ASSERT_TRUE(dictionary);
        EXPECT_EQ(dictionary->size(), 3u);  // services lacking a name or a value are left out
        EXPECT_DOUBLE_EQ(dictionary->at("pACC MTR Temp Sensor0"), 47.0);  // the later service replaces
        EXPECT_FLOAT_EQ(getSilliconCPUTemperature(), 52.5f);  // PMU tdie is not looked at
    }
    {
        ScopedServices services(std::vector<platform::HidTemperatureService>{
            {"PMU tdie1", 61.0}, {"PMU tdie3", 63.5}, {"NAND CH0 temp", 70.0}});
        EXPECT_FLOAT_EQ(getSilliconCPUTemperature(), 63.5f);
    }
    {
        ScopedServices services(std::vector<platform::HidTemperatureService>{});
        ASSERT_TRUE(SilliconTemperatureDictionary());
        EXPECT_FLOAT_EQ(getSilliconCPUTemperature(), -1.0f);
    }
    ScopedServices services(std::make_shared<NoListSource>());
    EXPECT_FALSE(SilliconTemperatureDictionary());
    EXPECT_FLOAT_EQ(getSilliconCPUTemperature(), 0.0f);
}

class HwmonSensorsTest : public testing::Test {
protected:
    void monitor(int n, const std::string& name, const std::vector<std::pair<std::string, std::string>>& files) {
        std::string folder = dir / ("hwmon" + std::to_string(n));
        testing_support::writeFile(folder + "/name", name + "\n");
        for (const auto& [file, content] : files) testing_support::writeFile(folder + "/" + file, content + "\n");
    }
    testing_support::TempDir dir;
};

TEST_F(HwmonSensorsTest, FansAndTheProcessorTemperatureComeFromHwmon) {
    monitor(0, "acpitz", {{"temp1_input", "27800"}});
    monitor(10, "thinkpad", {{"fan2_input", "0"}, {"fan1_input", "2450"}, {"fan1_min", "1200"}, {"fan1_max", "5200"},
                             {"fan3_input", "garbage"}});
    monitor(2, "coretemp", {{"temp1_input", "55000"}, {"temp1_label", "Package id 0"},
                            {"temp2_input", "53000"}, {"temp2_label", "Core 0"}});
    monitor_testing::ScopedSmc smc(std::make_shared<platform::HwmonSmcDevice>(dir.str()));
    ScopedServices services(std::make_shared<platform::HwmonTemperatureSource>(dir.str()));

    auto fans = GetFans();
    ASSERT_TRUE(fans);
    ASSERT_EQ(fans->size(), 2u);
    EXPECT_FLOAT_EQ((*fans)[0].actualSpeed, 2450);
    EXPECT_FLOAT_EQ((*fans)[0].minimumSpeed, 1200);
    EXPECT_FLOAT_EQ((*fans)[0].maximumSpeed, 5200);
    EXPECT_FLOAT_EQ((*fans)[1].actualSpeed, 0);
    EXPECT_FLOAT_EQ((*fans)[1].maximumSpeed, -1);  // hwmon has no limit for it
    EXPECT_FLOAT_EQ(GetCPUTemperature(), 55.0f);
    EXPECT_DOUBLE_EQ(getUniversalCPUTemperature(), 55.0);
    auto dictionary = SilliconTemperatureDictionary();
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(*dictionary, (std::map<std::string, double>{
                               {"acpitz temp1", 27.8}, {"Package id 0", 55.0}, {"Core 0", 53.0}}));
}

TEST_F(HwmonSensorsTest, AMachineWithoutSensorsHasNoFansAndNoTemperatures) {
    monitor_testing::ScopedSmc smc(std::make_shared<platform::HwmonSmcDevice>(dir / "absent"));
    ScopedServices services(std::make_shared<platform::HwmonTemperatureSource>(dir / "absent"));
    auto fans = GetFans();
    ASSERT_TRUE(fans);
    EXPECT_TRUE(fans->empty());
    EXPECT_FLOAT_EQ(GetCPUTemperature(), -1.0f);
    EXPECT_DOUBLE_EQ(getUniversalCPUTemperature(), -1.0);
    auto dictionary = SilliconTemperatureDictionary();
    ASSERT_TRUE(dictionary);
    EXPECT_TRUE(dictionary->empty());
}

TEST_F(HwmonSensorsTest, AmdDieBeforeControlTemperature) {
    monitor(0, "k10temp", {{"temp1_input", "61500"}, {"temp1_label", "Tctl"}, {"temp2_input", "51250"},
                           {"temp2_label", "Tdie"}});
    platform::HwmonSmcDevice device(dir.str());
    monitor_testing::ScopedSmc smc(std::make_shared<platform::HwmonSmcDevice>(dir.str()));
    EXPECT_FLOAT_EQ(GetCPUTemperature(), 51.25f);
    // The listing covers every key and is counted by "#KEY".
    std::vector<std::string> names;
    for (const auto& entry : device.keyTable()) names.push_back(platform::smc::fourCharText(entry.key));
    EXPECT_EQ(names, (std::vector<std::string>{"#KEY", "FNum", "TC0D", "TC0P"}));
}
