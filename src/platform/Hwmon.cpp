#include "platform/Hwmon.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace platform {

namespace {

namespace fs = std::filesystem;

std::optional<std::string> readLine(const fs::path& path) {
    std::ifstream in(path);
    std::string line;
    if (!std::getline(in, line)) return std::nullopt;
    return line;
}

std::optional<double> readNumber(const fs::path& path) {
    auto line = readLine(path);
    if (!line || line->empty()) return std::nullopt;
    char* end = nullptr;
    double value = std::strtod(line->c_str(), &end);
    if (end == line->c_str()) return std::nullopt;
    return value;
}

// The number after `prefix` in names like "hwmon3" or "temp12_input".
std::optional<long> numberAfter(const std::string& name, const std::string& prefix, const std::string& suffix) {
    if (name.size() <= prefix.size() + suffix.size() || name.compare(0, prefix.size(), prefix) != 0 ||
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
        return std::nullopt;
    std::string digits = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    if (digits.empty() || digits.size() > 9 || !std::all_of(digits.begin(), digits.end(), ::isdigit)) return std::nullopt;
    return std::stol(digits);
}

// The numbered entries of `folder` that look like PREFIX<n>SUFFIX, by number.
std::vector<std::pair<long, fs::path>> numbered(const fs::path& folder, const std::string& prefix,
                                                const std::string& suffix) {
    std::vector<std::pair<long, fs::path>> found;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        if (auto n = numberAfter(it->path().filename().string(), prefix, suffix)) found.emplace_back(*n, it->path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace

Hwmon::Hwmon(std::string folder) : _folder(std::move(folder)) {}

std::vector<Hwmon::Fan> Hwmon::fans() const {
    std::vector<Fan> fans;
    for (const auto& [n, monitor] : numbered(_folder, "hwmon", "")) {
        for (const auto& [i, input] : numbered(monitor, "fan", "_input")) {
            auto speed = readNumber(input);
            if (!speed) continue;
            std::string base = "fan" + std::to_string(i);
            fans.push_back({*speed, readNumber(monitor / (base + "_min")), readNumber(monitor / (base + "_max"))});
        }
    }
    return fans;
}

std::vector<Hwmon::Temperature> Hwmon::temperatures() const {
    std::vector<Temperature> temperatures;
    for (const auto& [n, monitor] : numbered(_folder, "hwmon", "")) {
        std::string device = readLine(monitor / "name").value_or("");
        for (const auto& [i, input] : numbered(monitor, "temp", "_input")) {
            auto milli = readNumber(input);
            if (!milli) continue;
            std::string base = "temp" + std::to_string(i);
            temperatures.push_back({device, readLine(monitor / (base + "_label")).value_or(""), base, *milli / 1000.0});
        }
    }
    return temperatures;
}

std::optional<Hwmon::Temperature> Hwmon::cpuTemperature() const {
    auto all = temperatures();
    auto first = [&](auto&& matches) -> std::optional<Temperature> {
        auto found = std::find_if(all.begin(), all.end(), matches);
        if (found == all.end()) return std::nullopt;
        return *found;
    };
    auto isAmd = [](const Temperature& t) { return t.device == "k10temp" || t.device == "zenpower"; };
    if (auto t = first([](const Temperature& t) { return t.device == "coretemp" && t.label.rfind("Package id", 0) == 0; }))
        return t;
    if (auto t = first([&](const Temperature& t) { return isAmd(t) && t.label == "Tdie"; })) return t;
    if (auto t = first([&](const Temperature& t) { return isAmd(t) && t.label == "Tctl"; })) return t;
    return first([](const Temperature& t) { return t.device == "cpu_thermal" || t.device == "cpu-thermal"; });
}

}  // namespace platform
