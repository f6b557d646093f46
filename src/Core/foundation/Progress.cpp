#include "Core/foundation/Progress.h"

#include <cmath>
#include <numeric>

namespace Core {

Progress::Progress(std::vector<int64_t> parts, std::function<void(double)> block)
    : valueObservable(std::move(block)),
      _parts(std::move(parts)),
      _total(std::accumulate(_parts.begin(), _parts.end(), int64_t{0})) {}

void Progress::finishPart() {
    if (_currentIndex + 1 >= static_cast<int64_t>(_parts.size())) return;
    ++_currentIndex;
    _current += _parts[static_cast<size_t>(_currentIndex)];
    partTotal = 0;
    partProgress = 0;
    if (_total == 0) return;
    valueObservable.update([this] { return *finishedFraction(); });
}

void Progress::reportPart() {
    if (!partFraction()) return;
    // The fraction is computed inside the provider: a dropped update costs
    // no division.
    valueObservable.update([this] { return *partFraction(); });
}

std::optional<double> Progress::finishedFraction() const {
    if (_total == 0) return std::nullopt;
    return static_cast<double>(_current) / static_cast<double>(_total);
}

std::optional<double> Progress::partFraction() const {
    const auto running = _currentIndex + 1;
    if (_total == 0 || partTotal == 0 || running >= static_cast<int64_t>(_parts.size())) return std::nullopt;
    const double inPart = static_cast<double>(partProgress) / static_cast<double>(partTotal);
    return (static_cast<double>(_current) + inPart * static_cast<double>(_parts[static_cast<size_t>(running)])) /
           static_cast<double>(_total);
}

int64_t Progress::percentOf(double fraction) {
    if (!std::isfinite(fraction)) return 0;
    const double percent = fraction * 100.0;
    if (percent <= 0) return 0;
    if (percent >= 100) return 100;
    return static_cast<int64_t>(percent);
}

}  // namespace Core
