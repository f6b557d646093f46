#include "monitor/Sensors.h"

#include "monitor/SMC.h"
#include "monitor/SMCFunctions.h"
#include "platform/HidTemperatureSource.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace Core {

namespace {

constexpr char kFanCharacters[] = "0123456789ABCDEFGHIJ";
constexpr uint32_t kFanLimit = sizeof kFanCharacters - 1;

constexpr const char* kCPUKeys[] = {"TC0D", "TC0E", "TC0F", "TC0P", "TC0H", "TCAD"};
constexpr const char* kTableKeys[] = {
    "Tp0T", "Tp0H", "Tp0L", "Tp0P", "Tp0X", "Tp0b", "Tp0j", "Tp0r", "Tp0f", "Tp0n", "Tp0A", "Tp0D",
    "Tp0E", "Tp01", "Tp02", "Tp05", "Tp06", "Tp09", "Tf04", "Tf09", "Tf0A", "Tf0B", "Tf0D", "Tf0E",
    "Tf44", "Tf49", "Tf4A", "Tf4B", "Tf4D", "Tf4E", "Te05", "Te0L", "Te0P", "Te0S",
};
static_assert(std::size(kTableKeys) == 34);

constexpr int kPrimaryUsagePage = 0xFF00;
constexpr int kPrimaryUsage = 5;

float readFanKey(char index, const char* suffix) {
    char key[5];
    std::snprintf(key, sizeof key, "F%c%s", index, suffix);
    SMCVal_t value;
    SMCReadKey(key, &value);  // a failed read leaves a cleared record: -1.0
    return SMCFloatFromVal(value);
}

}  // namespace

std::optional<std::vector<Fan>> GetFans() {
    SMCOpen();
    SMCVal_t value;
    if (SMCReadKey("FNum", &value) != 0) {
        SMCClose();
        return std::nullopt;
    }
    uint32_t count = std::min(_strtoul(value.bytes, static_cast<int>(std::min<uint32_t>(value.dataSize, sizeof value.bytes)), 10), kFanLimit);
    std::vector<Fan> fans;
    fans.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        Fan& fan = fans.emplace_back();
        fan.actualSpeed = readFanKey(kFanCharacters[i], "Ac");
        fan.minimumSpeed = readFanKey(kFanCharacters[i], "Mn");
        fan.maximumSpeed = readFanKey(kFanCharacters[i], "Mx");
    }
    SMCClose();
    return fans;
}

float GetCPUTemperature() {
    SMCOpen();
    SMCVal_t value;
    int result = SMCReadKey("TC0P", &value);
    SMCClose();
    if (result == 0 && value.dataSize == 2 && std::strcmp(value.dataType, "sp78") == 0) return SMCGetSP78(value);
    return -1.0f;
}

std::optional<std::map<std::string, double>> SilliconTemperatureDictionary() {
    auto services = platform::HidTemperatureSource::shared()->copyServices(kPrimaryUsagePage, kPrimaryUsage);
    if (!services) return std::nullopt;
    std::map<std::string, double> temperatures;
    for (const auto& service : *services)
        if (service.product && service.temperature) temperatures[*service.product] = *service.temperature;
    return temperatures;
}

float getSilliconCPUTemperature() {
    auto temperatures = SilliconTemperatureDictionary();
    if (!temperatures) return 0.0f;
    auto hottest = [&](std::initializer_list<const char*> parts) -> std::optional<double> {
        std::optional<double> best;
        for (const auto& [name, value] : *temperatures) {
            // Captured by name: a structured binding can't be captured by
            // every compiler the fuzz build uses.
            const std::string& label = name;
            bool matches = std::any_of(parts.begin(), parts.end(),
                                       [&](const char* part) { return label.find(part) != std::string::npos; });
            if (matches && (!best || value > *best)) best = value;
        }
        return best;
    };
    if (auto cores = hottest({"pACC MTR Temp", "eACC MTR Temp"})) return static_cast<float>(*cores);
    return static_cast<float>(hottest({"PMU tdie"}).value_or(-1.0));
}

double getUniversalCPUTemperature() {
    SMC& smc = SMC::shared();
    for (const char* key : kCPUKeys) {
        auto value = smc.getValue(key);
        if (value && *value < 110.0) return *value;
    }
    double sum = 0;
    int count = 0;
    for (const char* key : kTableKeys) {
        auto value = smc.getValue(key);
        if (value && *value >= 10.0 && *value <= 120.0) {
            sum += *value;
            ++count;
        }
    }
    return sum != 0 && count != 0 ? sum / count : -1.0;
}

}  // namespace Core
