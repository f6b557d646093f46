#pragma once
// HidTemperatureSource: the HID temperature services, as the event system
// client lists them for a matching usage page and usage: per service its
// "Product" property and the value of its temperature event, either of
// which may be missing. The Linux source lists hwmon's temperature inputs,
// each named by its label (or "<monitor name> tempN" without one); a
// machine without them has an empty list. Tests and the console host's
// --hid install a SimulatedTemperatureSource.
//
// Threading: any thread; a source must be thread-safe.
//
//   auto services = platform::HidTemperatureSource::shared()->copyServices(0xFF00, 5);

#include "platform/Hwmon.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct HidTemperatureService {
    std::optional<std::string> product;
    std::optional<double> temperature;  // degrees Celsius
};

class HidTemperatureSource {
public:
    virtual ~HidTemperatureSource() = default;
    // The matching services in service order; nothing when the client or
    // its list can't be made.
    virtual std::optional<std::vector<HidTemperatureService>> copyServices(int usagePage, int usage) = 0;

    // The installed source; never null.
    static std::shared_ptr<HidTemperatureSource> shared();
    // Installs `source` (null restores the machine's).
    static void setShared(std::shared_ptr<HidTemperatureSource> source);
};

class HwmonTemperatureSource final : public HidTemperatureSource {
public:
    explicit HwmonTemperatureSource(std::string folder = "/sys/class/hwmon");
    std::optional<std::vector<HidTemperatureService>> copyServices(int usagePage, int usage) override;

private:
    Hwmon _hwmon;
};

class SimulatedTemperatureSource final : public HidTemperatureSource {
public:
    explicit SimulatedTemperatureSource(std::vector<HidTemperatureService> services);
    // Reads a JSON array of {"product": NAME, "temperature": NUMBER}, either
    // member optional; null with `error` naming the file and the cause.
    static std::shared_ptr<SimulatedTemperatureSource> load(const std::string& path, std::string& error);
    std::optional<std::vector<HidTemperatureService>> copyServices(int usagePage, int usage) override;

private:
    const std::vector<HidTemperatureService> _services;
};

}  // namespace platform
