#pragma once
// The progress line that long commands draw on standard error while they
// run on a terminal: a bar, the percentage and, when known, the current path.

#include <algorithm>
#include <cstdio>
#include <string>

namespace sweeper {

// Draws the line over the one before; `fraction` runs from 0 to 1.
inline void drawProgress(double fraction, const std::string& path = "") {
    constexpr int kWidth = 30;
    int filled = std::clamp(int(fraction * kWidth + 0.5), 0, kWidth);
    std::string shown = path.size() > 60 ? "..." + path.substr(path.size() - 57) : path;
    std::fprintf(stderr, "\r\033[K[%s%s] %3d%%%s%s", std::string(size_t(filled), '#').c_str(),
                 std::string(size_t(kWidth - filled), ' ').c_str(), int(fraction * 100 + 0.5),
                 shown.empty() ? "" : " ", shown.c_str());
    std::fflush(stderr);
}

// Wipes the line, before the results are printed.
inline void clearProgress() { std::fputs("\r\033[K", stderr); }

}  // namespace sweeper
