#pragma once
// Hwmon: the kernel's hardware monitors (/sys/class/hwmon/hwmonN), read for
// fans and temperatures: every fanN_input with its fanN_min and fanN_max,
// every tempN_input with its tempN_label, in the order of the monitors'
// numbers and then of the inputs' numbers. The folder is a parameter, so
// tests read a tree of their own.
//
// Threading: any thread; every call reads the files afresh.
//
//   platform::Hwmon hwmon;
//   for (const auto& fan : hwmon.fans()) show(fan.speed);

#include <optional>
#include <string>
#include <vector>

namespace platform {

class Hwmon {
public:
    struct Fan {
        double speed = 0;  // revolutions a minute
        std::optional<double> minimum;
        std::optional<double> maximum;
    };
    struct Temperature {
        std::string device;  // the monitor's "name"
        std::string label;   // tempN_label, or "" when it has none
        std::string input;   // "temp1"
        double celsius = 0;
    };

    explicit Hwmon(std::string folder = "/sys/class/hwmon");

    // Fans whose input can be read; nothing is left out for a missing limit.
    std::vector<Fan> fans() const;
    // Temperature inputs that can be read.
    std::vector<Temperature> temperatures() const;
    // The input that stands for the processor package or die, if any:
    // coretemp's "Package id", k10temp's or zenpower's "Tdie" then "Tctl",
    // then the first input of an SoC's "cpu_thermal".
    std::optional<Temperature> cpuTemperature() const;

private:
    std::string _folder;
};

}  // namespace platform
