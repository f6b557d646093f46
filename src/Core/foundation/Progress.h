#pragma once
// Progress: turns the work of a scan, split into weighted parts, into a
// fraction published through a ValueObservable (at most once per 0.03 s, on
// the main thread).
//
// Not thread-safe: touch it only from the scan's own queue (or, for a nested
// scan, from the main thread).
//
//   Core::Progress progress({2, 3, 5}, [](double f) { show(f); });
//   progress.finishPart();                 // 0.2
//   progress.partTotal = 4; progress.partProgress = 1;
//   progress.reportPart();                 // (2 + 0.25 * 3) / 10 = 0.275

#include "Core/foundation/ValueObservable.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace Core {

class Progress {
public:
    Progress(std::vector<int64_t> parts, std::function<void(double)> block);

    ValueObservable<double> valueObservable;

    const std::vector<int64_t>& parts() const { return _parts; }
    int64_t total() const { return _total; }
    int64_t currentIndex() const { return _currentIndex; }
    int64_t current() const { return _current; }

    // Written directly by the scanner: the steps of the running part.
    int64_t partTotal = 0;
    int64_t partProgress = 0;

    // Closes the running part and publishes current / total. Past the last
    // part it does nothing; with a zero total it publishes nothing.
    void finishPart();
    // Publishes the fraction inside the running part. With a zero part
    // total, a zero total, or no running part left, it publishes nothing.
    void reportPart();

    // The fractions the two operations would publish now; absent where they
    // publish nothing.
    std::optional<double> finishedFraction() const;
    std::optional<double> partFraction() const;

    // The nested scan's report: the inner fraction as a whole percentage of
    // the running part (partTotal 100). A fraction that isn't a number counts
    // as 0, and it is clamped to 0...100.
    static int64_t percentOf(double fraction);

private:
    std::vector<int64_t> _parts;
    int64_t _total = 0;
    int64_t _currentIndex = -1;
    int64_t _current = 0;
};

}  // namespace Core
