// How long the EXIF reader takes on a whole JPEG held in memory: a 4 MB file
// with its EXIF data up front (the usual case), and one without EXIF data,
// where the search for the APP1 marker runs through every byte.
#include "dff/exif/EXIFInfo.h"

#include "support/ExifBuilder.h"

#include <benchmark/benchmark.h>

namespace {

constexpr size_t kImageBytes = 4 * 1024 * 1024;

// The throughput is given where the reader goes over every byte.
void run(benchmark::State& state, const std::string& file, int expected, bool countBytes) {
    easyexif::EXIFInfo info;
    for (auto _ : state) {
        int code = info.parseFrom(file);
        if (code != expected) state.SkipWithError("unexpected result code");
        benchmark::DoNotOptimize(info);
    }
    if (countBytes) state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(file.size()));
}

void BM_ParseCameraJpeg4MB(benchmark::State& state) {
    static const std::string file =
        testing_support::jpegWith(testing_support::cameraExif(true).segment(), kImageBytes);
    run(state, file, easyexif::PARSE_EXIF_SUCCESS, false);
}
BENCHMARK(BM_ParseCameraJpeg4MB);

void BM_ParseJpeg4MBWithoutExif(benchmark::State& state) {
    static const std::string file = testing_support::jpegWithoutApp1(kImageBytes);
    run(state, file, easyexif::PARSE_EXIF_ERROR_NO_EXIF, true);
}
BENCHMARK(BM_ParseJpeg4MBWithoutExif);

}  // namespace
