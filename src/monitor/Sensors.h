#pragma once
// Fans and temperatures for the host's monitor, from the SMC (the plain
// functions, and Core::SMC::shared()) or from the HID temperature services.
// Each function opens what it needs and frees it again. What means "no
// answer" differs by function: nothing from GetFans, -1.0 from the CPU
// temperatures, 0.0 from getSilliconCPUTemperature without a dictionary.
//
// Threading: the SMC plain functions' module state is unlocked: call from
// one thread at a time.
//
//   if (auto fans = Core::GetFans()) for (const auto& fan : *fans) show(fan.actualSpeed);
//   float cpu = Core::GetCPUTemperature();

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Core {

struct Fan {
    float actualSpeed = 0;   // revolutions a minute
    float minimumSpeed = 0;
    float maximumSpeed = 0;
};

// One Fan per "FNum" (at most 20); a key that can't be read gives -1.0.
std::optional<std::vector<Fan>> GetFans();
// "TC0P" as "sp78" of two bytes, or -1.0.
float GetCPUTemperature();
// Product name -> degrees Celsius of the HID temperature services; empty
// without such services, nothing without a list.
std::optional<std::map<std::string, double>> SilliconTemperatureDictionary();
// The hottest "pACC MTR Temp" or "eACC MTR Temp" value; without any, the
// hottest "PMU tdie" or -1.0; 0.0 without a dictionary.
float getSilliconCPUTemperature();
// The first of the CPU keys under 110.0, or the mean of the 34 table keys
// between 10.0 and 120.0, or -1.0.
double getUniversalCPUTemperature();

}  // namespace Core
