#pragma once
// What the monitor's commands share: putting a simulated controller or
// simulated HID services in place of the machine's, the sensor readings as
// JSON and text, and the interrupt flag of the long-running ones.

#include "Command.h"

#include "monitor/Sensors.h"
#include "platform/HidTemperatureSource.h"
#include "platform/SimulatedSmcDevice.h"

#include <nlohmann/json.hpp>

#include <signal.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace sweeper {

// Puts the controller holding the table FILE behind both SMC clients;
// exit 1 with a message naming the file when it can't be read.
inline std::shared_ptr<platform::SimulatedSmcDevice> installSmcTable(const std::string& path) {
    std::string error;
    auto device = platform::SimulatedSmcDevice::load(path, error);
    if (!device) throw CommandError(error);
    platform::SmcDevice::setShared(device);
    return device;
}

inline void installHidServices(const std::string& path) {
    std::string error;
    auto source = platform::SimulatedTemperatureSource::load(path, error);
    if (!source) throw CommandError(error);
    platform::HidTemperatureSource::setShared(source);
}

// Keys are four characters; anything else is a usage error.
inline void checkKeys(const std::vector<std::string>& keys) {
    for (const auto& key : keys)
        if (key.size() != 4) throw CommandError("a key has four characters: \"" + key + "\"", 2);
}

struct SensorReadings {
    std::optional<std::vector<Core::Fan>> fans;
    float cpuTemperature = -1;
    double universalCpuTemperature = -1;
    std::optional<std::map<std::string, double>> siliconTemperatures;
    float siliconCpuTemperature = 0;
};

inline SensorReadings readSensors() {
    return {Core::GetFans(), Core::GetCPUTemperature(), Core::getUniversalCPUTemperature(),
            Core::SilliconTemperatureDictionary(), Core::getSilliconCPUTemperature()};
}

// The sensor members of a JSON document.
inline void addSensorsJson(nlohmann::json& document, const SensorReadings& r) {
    nlohmann::json fans = nullptr;
    if (r.fans) {
        fans = nlohmann::json::array();
        for (const auto& fan : *r.fans)
            fans.push_back({{"actualSpeed", fan.actualSpeed},
                            {"minimumSpeed", fan.minimumSpeed},
                            {"maximumSpeed", fan.maximumSpeed}});
    }
    document["fans"] = fans;
    document["cpuTemperature"] = r.cpuTemperature;
    document["universalCpuTemperature"] = r.universalCpuTemperature;
    document["siliconTemperatures"] = r.siliconTemperatures ? nlohmann::json(*r.siliconTemperatures) : nullptr;
    document["siliconCpuTemperature"] = r.siliconCpuTemperature;
}

inline void printSensorsText(const SensorReadings& r) {
    if (!r.fans) {
        std::printf("fans: none readable\n");
    } else {
        std::printf("fans: %zu\n", r.fans->size());
        for (size_t i = 0; i < r.fans->size(); ++i) {
            const auto& fan = (*r.fans)[i];
            std::printf("  fan %zu: %.0f rpm (min %.0f, max %.0f)\n", i, fan.actualSpeed, fan.minimumSpeed,
                        fan.maximumSpeed);
        }
    }
    std::printf("cpu temperature: %.2f\n", r.cpuTemperature);
    std::printf("universal cpu temperature: %.2f\n", r.universalCpuTemperature);
    if (!r.siliconTemperatures) {
        std::printf("silicon temperatures: none\n");
    } else {
        std::printf("silicon temperatures: %zu\n", r.siliconTemperatures->size());
        for (const auto& [name, value] : *r.siliconTemperatures) std::printf("  %s: %.2f\n", name.c_str(), value);
    }
    std::printf("silicon cpu temperature: %.2f\n", r.siliconCpuTemperature);
}

// Set by SIGINT once watchInterrupt() ran; the handler is left in place so
// that a second Ctrl-C doesn't kill the process mid-cleanup.
inline volatile sig_atomic_t interruptedFlag = 0;

inline void watchInterrupt() {
    struct sigaction action {};
    action.sa_handler = [](int) { interruptedFlag = 1; };
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);  // no SA_RESTART: a sleep ends early
}

inline bool interrupted() { return interruptedFlag != 0; }

}  // namespace sweeper
