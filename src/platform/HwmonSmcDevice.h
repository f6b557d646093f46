#pragma once
// HwmonSmcDevice: the machine's controller on Linux, answering from hwmon.
// Its table, built afresh on every call: "#KEY" ("ui32", the number of
// keys), "FNum" ("ui8 ", the number of fan inputs, 0 when there are none),
// per fan n (characters 0-9, A-J) "F<n>Ac" and, where hwmon gives limits,
// "F<n>Mn" and "F<n>Mx" ("flt ", revolutions a minute), and where a
// processor temperature input exists "TC0D" and "TC0P" ("sp78", degrees).
//
// Threading: any thread.
//
//   platform::SmcDevice::setShared(std::make_shared<platform::HwmonSmcDevice>("/tmp/hwmon"));

#include "platform/Hwmon.h"
#include "platform/SmcDevice.h"

namespace platform {

class HwmonSmcDevice final : public SmcDevice {
public:
    explicit HwmonSmcDevice(std::string folder = "/sys/class/hwmon");

    int callStructMethod(uint32_t selector, const SmcRecord& input, SmcRecord& output) override;
    // The table as a call sees it now.
    std::vector<SmcKeyEntry> keyTable() const;

private:
    Hwmon _hwmon;
};

}  // namespace platform
