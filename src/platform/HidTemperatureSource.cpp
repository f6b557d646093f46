#include "platform/HidTemperatureSource.h"

#include "platform/internal/Installed.h"
#include "platform/internal/RegularFile.h"

#include <nlohmann/json.hpp>


namespace platform {

namespace {

// Tables and sensor lists are written by hand or by tests: small.
constexpr size_t kMaxTableFileSize = size_t(1) << 20;

internal::Installed<HidTemperatureSource, HwmonTemperatureSource> installedSource;

}  // namespace

std::shared_ptr<HidTemperatureSource> HidTemperatureSource::shared() { return installedSource.get(); }

void HidTemperatureSource::setShared(std::shared_ptr<HidTemperatureSource> source) { installedSource.set(std::move(source)); }

HwmonTemperatureSource::HwmonTemperatureSource(std::string folder) : _hwmon(std::move(folder)) {}

std::optional<std::vector<HidTemperatureService>> HwmonTemperatureSource::copyServices(int, int) {
    std::vector<HidTemperatureService> services;
    for (const auto& input : _hwmon.temperatures()) {
        std::string name = input.label.empty() ? input.device + " " + input.input : input.label;
        services.push_back({name, input.celsius});
    }
    return services;
}

SimulatedTemperatureSource::SimulatedTemperatureSource(std::vector<HidTemperatureService> services)
    : _services(std::move(services)) {}

std::shared_ptr<SimulatedTemperatureSource> SimulatedTemperatureSource::load(const std::string& path,
                                                                             std::string& error) {
    auto text = internal::readRegularFile(path, kMaxTableFileSize);
    if (!text) {
        error = "cannot read the HID services " + path;
        return nullptr;
    }
    auto document = nlohmann::json::parse(*text, nullptr, false);
    if (document.is_discarded() || !document.is_array()) {
        error = "bad HID services " + path + ": not a JSON array";
        return nullptr;
    }
    std::vector<HidTemperatureService> services;
    for (size_t i = 0; i < document.size(); ++i) {
        const auto& item = document[i];
        auto product = item.is_object() ? item.find("product") : item.end();
        auto temperature = item.is_object() ? item.find("temperature") : item.end();
        if (!item.is_object() || (product != item.end() && !product->is_string()) ||
            (temperature != item.end() && !temperature->is_number())) {
            error = "bad HID services " + path + ": entry " + std::to_string(i) +
                    " is not an object with a string \"product\" and a number \"temperature\"";
            return nullptr;
        }
        HidTemperatureService service;
        if (product != item.end()) service.product = product->get<std::string>();
        if (temperature != item.end()) service.temperature = temperature->get<double>();
        services.push_back(std::move(service));
    }
    return std::make_shared<SimulatedTemperatureSource>(std::move(services));
}

std::optional<std::vector<HidTemperatureService>> SimulatedTemperatureSource::copyServices(int, int) {
    return _services;
}

}  // namespace platform
