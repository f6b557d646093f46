// What a scan pays per reported item: a ValueObservable update that is
// dropped because a delivery is pending (the common case inside a walk),
// and a Progress report on top of it.
#include "Core/foundation/Progress.h"
#include "Core/foundation/ValueObservable.h"
#include "platform/Dispatch.h"

#include <benchmark/benchmark.h>

namespace {

void BM_DroppedObservableUpdate(benchmark::State& state) {
    Core::ValueObservable<double> observable([](double) {});
    // The first update goes through and leaves a delivery pending on the
    // main queue, which nobody drains here: every later update is dropped.
    observable.update([] { return 0.0; });
    double value = 0;
    for (auto _ : state) {
        observable.update([&] { return value += 1; });
    }
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_DroppedObservableUpdate);

void BM_DroppedProgressReport(benchmark::State& state) {
    Core::Progress progress({1, 1}, [](double) {});
    progress.partTotal = 1 << 30;
    progress.reportPart();
    for (auto _ : state) {
        ++progress.partProgress;
        progress.reportPart();
    }
}
BENCHMARK(BM_DroppedProgressReport);

}  // namespace
