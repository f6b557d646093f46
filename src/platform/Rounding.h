#pragma once
// Rounding to the nearest whole number, halves away from zero, as
// std::lround does, without the maths library: a program that calls nothing
// else of it need not load it, which costs about 0.3 MB of start-up pages.
//
//   platform::roundToWhole(2.5) == 3;  platform::roundToWhole(-0.5) == -1

#include <cstdint>

namespace platform {

// For magnitudes below 2^63.
constexpr int64_t roundToWhole(double value) {
    const auto whole = static_cast<int64_t>(value);  // toward zero
    // Exact: a double less its whole part needs no more bits than it had.
    const double rest = value - static_cast<double>(whole);
    if (rest >= 0.5) return whole + 1;
    if (rest <= -0.5) return whole - 1;
    return whole;
}

}  // namespace platform
