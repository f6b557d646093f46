#pragma once
// Installs a SimulatedClock as the platform's clock for the life of the
// scope and restores the system clock on exit. Leave no timer of the test
// pending at exit: it would keep its simulated deadline.
//
//   testing_support::ScopedSimulatedClock clock;
//   queue->asyncAfter(0.03s, ...);
//   clock->advance(std::chrono::milliseconds(30));

#include "platform/Clock.h"

namespace testing_support {

class ScopedSimulatedClock {
public:
    ScopedSimulatedClock() { platform::setClockForTesting(&_clock); }
    ~ScopedSimulatedClock() { platform::setClockForTesting(nullptr); }
    ScopedSimulatedClock(const ScopedSimulatedClock&) = delete;
    ScopedSimulatedClock& operator=(const ScopedSimulatedClock&) = delete;

    platform::SimulatedClock* operator->() { return &_clock; }
    platform::SimulatedClock& get() { return _clock; }

private:
    platform::SimulatedClock _clock;
};

}  // namespace testing_support
