#include "platform/HwmonSmcDevice.h"

#include "platform/Rounding.h"

#include <algorithm>
#include <cstring>

namespace platform {

namespace {

constexpr char kFanCharacters[] = "0123456789ABCDEFGHIJ";
constexpr size_t kFanKeyCount = sizeof kFanCharacters - 1;

std::vector<uint8_t> floatBytes(double value) {
    float number = static_cast<float>(value);
    std::vector<uint8_t> bytes(sizeof number);
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

// Unsigned 8.8 fixed point, big-endian, as the controller keeps degrees.
std::vector<uint8_t> sp78Bytes(double celsius) {
    auto n = static_cast<uint16_t>(roundToWhole(std::clamp(celsius * 256.0, 0.0, 65535.0)));
    return {static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n & 0xFF)};
}

}  // namespace

HwmonSmcDevice::HwmonSmcDevice(std::string folder) : _hwmon(std::move(folder)) {}

std::vector<SmcKeyEntry> HwmonSmcDevice::keyTable() const {
    std::vector<SmcKeyEntry> table;
    table.push_back(SmcKeyEntry::make("#KEY", "ui32", {}));
    auto fans = _hwmon.fans();
    table.push_back(SmcKeyEntry::make("FNum", "ui8 ", {static_cast<uint8_t>(std::min<size_t>(fans.size(), 255))}));
    for (size_t i = 0; i < fans.size() && i < kFanKeyCount; ++i) {
        std::string prefix = std::string("F") + kFanCharacters[i];
        table.push_back(SmcKeyEntry::make(prefix + "Ac", "flt ", floatBytes(fans[i].speed)));
        if (fans[i].minimum) table.push_back(SmcKeyEntry::make(prefix + "Mn", "flt ", floatBytes(*fans[i].minimum)));
        if (fans[i].maximum) table.push_back(SmcKeyEntry::make(prefix + "Mx", "flt ", floatBytes(*fans[i].maximum)));
    }
    if (auto cpu = _hwmon.cpuTemperature()) {
        // Linux has one processor reading: it serves as die and proximity.
        table.push_back(SmcKeyEntry::make("TC0D", "sp78", sp78Bytes(cpu->celsius)));
        table.push_back(SmcKeyEntry::make("TC0P", "sp78", sp78Bytes(cpu->celsius)));
    }
    auto count = static_cast<uint32_t>(table.size());
    table[0].bytes = {static_cast<uint8_t>(count >> 24), static_cast<uint8_t>(count >> 16),
                      static_cast<uint8_t>(count >> 8), static_cast<uint8_t>(count)};
    return table;
}

int HwmonSmcDevice::callStructMethod(uint32_t selector, const SmcRecord& input, SmcRecord& output) {
    return answerFromKeyTable(keyTable(), selector, input, output);
}

}  // namespace platform
