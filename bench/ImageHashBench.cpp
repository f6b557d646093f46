// Image hashing of 12-megapixel photos on one thread, beside vipsthumbnail
// making 18-pixel thumbnails of the same files. Both run with
// VIPS_CONCURRENCY=1 and are timed on the wall clock (the peer is another
// process). The photos are synthetic JPEGs made into a temporary folder on
// first use and removed at exit.
#include "dff/image/ImageFiles.h"
#include "platform/ImageService.h"

#include "support/ImageBuilder.h"
#include "support/TempDir.h"

#include <benchmark/benchmark.h>
#include <vips/vips.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kPhotos = 20;
constexpr int kWidth = 4000;
constexpr int kHeight = 3000;

// Gradients in three directions under grain, so that the encoder has
// real detail to store (a flat picture would decode unrealistically fast).
std::vector<uint8_t> photoPixels(uint32_t seed) {
    std::vector<uint8_t> rgb(size_t(kWidth) * kHeight * 3);
    uint32_t state = seed * 2654435761u + 1;
    size_t i = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            int grain = int(state & 31) - 16;
            int r = (x * 255) / kWidth, g = (y * 255) / kHeight, b = ((x + y + int(seed) * 97) / 28) % 256;
            for (int v : {r, g, b}) rgb[i++] = uint8_t(std::clamp(v + grain, 0, 255));
        }
    }
    return rgb;
}

struct Photos {
    testing_support::TempDir dir;
    std::vector<std::string> paths;
};

const Photos& photos() {
    static const std::unique_ptr<Photos> made = [] {
        ::setenv("VIPS_CONCURRENCY", "1", 1);  // for vipsthumbnail, and for our library below
        platform::ImageService::shared().decodableTypeIdentifiers();
        vips_concurrency_set(1);
        auto p = std::make_unique<Photos>();
        for (int n = 0; n < kPhotos; ++n) {
            std::string path = p->dir / ("photo" + std::to_string(n) + ".jpg");
            testing_support::writeFile(path,
                                       testing_support::encodeJpeg(photoPixels(uint32_t(n)), kWidth, kHeight, 3));
            p->paths.push_back(path);
        }
        return p;
    }();
    return *made;
}

void BM_HashImage12MP(benchmark::State& state) {
    const Photos& set = photos();
    for (auto _ : state) {
        for (const std::string& path : set.paths) {
            dff::ImageHashValue hash = dff::hashImage(path);
            benchmark::DoNotOptimize(hash);
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kPhotos);
}
BENCHMARK(BM_HashImage12MP)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(5.0);

void BM_Vipsthumbnail18px(benchmark::State& state) {
    const Photos& set = photos();
    testing_support::TempDir out;
    std::string command = "vipsthumbnail -s 18 -o " + (out / "%s.jpg");
    for (const std::string& path : set.paths) command += " " + path;
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("vipsthumbnail failed (is libvips-tools installed?)");
            return;
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kPhotos);
}
BENCHMARK(BM_Vipsthumbnail18px)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(5.0);

}  // namespace
