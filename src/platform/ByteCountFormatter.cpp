#include "platform/ByteCountFormatter.h"

#include "platform/Rounding.h"

#include <fmt/format.h>

#include <cstdlib>

namespace platform {

std::string formatByteCount(int64_t bytes) {
    if (bytes == 0) return "Zero KB";
    const bool negative = bytes < 0;
    // |INT64_MIN| does not fit; a double holds every magnitude we print.
    const double magnitude = negative ? -static_cast<double>(bytes) : static_cast<double>(bytes);
    const char* sign = negative ? "-" : "";
    if (magnitude < 1000.0) {
        auto whole = static_cast<long long>(magnitude);
        return fmt::format("{}{} {}", sign, whole, whole == 1 ? "byte" : "bytes");
    }
    static constexpr const char* kUnits[] = {"KB", "MB", "GB", "TB", "PB", "EB", "ZB", "YB"};
    static constexpr int kDecimals[] = {0, 1, 2, 2, 2, 2, 2, 2};
    static constexpr double kScales[] = {1.0, 10.0, 100.0};  // 10 to the power of the decimals
    constexpr int kLast = 7;
    int unit = 0;
    double value = magnitude / 1000.0;
    while (unit < kLast && value >= 1000.0) {
        value /= 1000.0;
        ++unit;
    }
    double scale = kScales[kDecimals[unit]];
    double rounded = static_cast<double>(roundToWhole(value * scale)) / scale;
    // 999.96 MB rounds to 1000 MB: the next unit reads better and is what the
    // platform prints.
    if (rounded >= 1000.0 && unit < kLast) {
        ++unit;
        value /= 1000.0;
        scale = kScales[kDecimals[unit]];
        rounded = static_cast<double>(roundToWhole(value * scale)) / scale;
    }
    std::string number = fmt::format("{:.{}f}", rounded, kDecimals[unit]);
    if (number.find('.') != std::string::npos) {
        while (number.back() == '0') number.pop_back();
        if (number.back() == '.') number.pop_back();
    }
    return fmt::format("{}{} {}", sign, number, kUnits[unit]);
}

}  // namespace platform
