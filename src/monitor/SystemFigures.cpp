#include "monitor/SystemFigures.h"

#include "monitor/internal/Print.h"

#include <cstdlib>
#include <cstring>

namespace Core {

namespace {

uint64_t cachedTotalMemory = 0;
uint64_t cachedPageSize = 0;

constexpr size_t kBlockSize = 520;
constexpr size_t kRandomBytes = 512;  // the last 8 bytes link to the previous block

platform::KernelFigures& kernel() { return platform::KernelFigures::shared(); }

void freeBlocks(void* last) {
    while (last != nullptr) {
        void* previous = nullptr;
        std::memcpy(&previous, static_cast<char*>(last) + kRandomBytes, sizeof previous);
        std::free(last);
        last = previous;
    }
}

}  // namespace

std::optional<std::vector<CPULoadInfo>> GetCPULoadInfo() {
    auto ticks = kernel().processorTicks();
    if (!ticks) return std::nullopt;
    std::vector<CPULoadInfo> processors;
    processors.reserve(ticks->size());
    for (const auto& cpu : *ticks) processors.push_back({cpu.user, cpu.system, cpu.idle});  // nice is left out
    return processors;
}

uint64_t GetTotalMemory() {
    if (cachedTotalMemory != 0) return cachedTotalMemory;
    cachedTotalMemory = kernel().memorySize();
    return cachedTotalMemory;
}

uint64_t GetMemoryPageSize() {
    if (cachedPageSize != 0) return cachedPageSize;
    cachedPageSize = kernel().pageSize();
    return cachedPageSize;
}

uint64_t GetFreeMemory(const vm_statistics64* stats, uint64_t total, uint64_t pageSize) {
    uint64_t used = stats->active_count + stats->inactive_count + stats->speculative_count + stats->wire_count +
                    stats->compressor_page_count - stats->purgeable_count - stats->external_page_count;
    return total - pageSize * used;
}

std::optional<MemoryInfo> GetMemoryInfo() {
    uint64_t total = GetTotalMemory();
    uint64_t pageSize = GetMemoryPageSize();
    if (total == 0 || pageSize == 0) return std::nullopt;
    auto stats = kernel().vmStatistics(pageSize);
    if (!stats) return std::nullopt;
    return MemoryInfo{total, GetFreeMemory(&*stats, total, pageSize)};
}

void FreeUpMemory(const std::function<bool()>& stop) {
    uint64_t total = GetTotalMemory();
    uint64_t pageSize = GetMemoryPageSize();
    if (total == 0 || pageSize == 0) return;
    auto stats = kernel().vmStatistics(pageSize);
    if (!stats) return;
    uint64_t target = total - pageSize * (stats->active_count + stats->wire_count + stats->compressor_page_count +
                                          stats->speculative_count);
    if (target == 0) return;
    void* last = nullptr;
    for (uint64_t counter = 0; counter < target; counter += kBlockSize) {
        if (stop && stop()) break;
        void* block = std::malloc(kBlockSize);
        if (block == nullptr) break;
        arc4random_buf(block, kRandomBytes);
        std::memcpy(static_cast<char*>(block) + kRandomBytes, &last, sizeof last);
        last = block;
    }
    freeBlocks(last);
}

void printOutStat(const vm_statistics64* stats, uint64_t pageSize) {
    auto gigabytes = [pageSize](uint64_t pages) {
        return static_cast<double>(pages * pageSize) / 1024.0 / 1024.0 / 1024.0;
    };
    internal::printFormat("active_count: %.2f", gigabytes(stats->active_count));
    internal::printFormat("inactive_count: %.2f", gigabytes(stats->inactive_count));
    internal::printFormat("free_count: %.2f", gigabytes(stats->free_count));
    internal::printFormat("purgeable_count: %.2f", gigabytes(stats->purgeable_count));
    internal::printFormat("speculative_count: %.2f", gigabytes(stats->speculative_count));
    internal::printFormat("internal_page_count: %.2f", gigabytes(stats->internal_page_count));
    internal::printFormat("external_page_count: %.2f", gigabytes(stats->external_page_count));
    internal::printFormat("total_uncompressed_pages_in_compressor: %.2f",
                          gigabytes(stats->total_uncompressed_pages_in_compressor));
    internal::printFormat("app: %.2f", gigabytes(stats->inactive_count + stats->active_count -
                                                 stats->external_page_count - stats->purgeable_count));
    internal::printFormat("wire_count: %.2f", gigabytes(stats->wire_count));
    internal::printFormat("compressor_page_count: %.2f", gigabytes(stats->compressor_page_count));
    internal::printLine("================================\n");
}

std::optional<NetworkStat> GetNetworkStat() {
    auto bytes = kernel().networkBytes();
    if (!bytes) return std::nullopt;
    return NetworkStat{bytes->received, bytes->sent};
}

void resetSystemFiguresForTesting() {
    cachedTotalMemory = 0;
    cachedPageSize = 0;
}

}  // namespace Core
