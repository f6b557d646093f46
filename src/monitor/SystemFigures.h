#pragma once
// The kernel's figures for the host's monitor: processor ticks, memory,
// network traffic and the root volume (Core::GetDiskInfo of disk/DiskInfo.h,
// whose record is signed), and FreeUpMemory, which allocates, fills and
// frees memory to push the system into releasing its caches. Total memory
// and page size are cached once read. A failed read gives nothing, or 0 for
// the two plain numbers.
//
// Threading: the caches are unlocked module state: one thread at a time.
//
//   auto before = Core::GetCPULoadInfo();
//   ...
//   auto after = Core::GetCPULoadInfo();     // the caller takes differences
//   if (auto memory = Core::GetMemoryInfo()) show(memory->freeSize);

#include "disk/DiskInfo.h"
#include "platform/KernelFigures.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace Core {

using platform::vm_statistics64;

// Tick counters of one processor, growing from boot.
struct CPULoadInfo {
    uint32_t user = 0;
    uint32_t system = 0;
    uint32_t idle = 0;
};

struct MemoryInfo {
    uint64_t totalSize = 0;  // bytes
    uint64_t freeSize = 0;   // bytes
};

// Totals since boot, loopback interfaces left out.
struct NetworkStat {
    uint64_t bytesIn = 0;
    uint64_t bytesOut = 0;
};

// One entry a processor, in order.
std::optional<std::vector<CPULoadInfo>> GetCPULoadInfo();
std::optional<MemoryInfo> GetMemoryInfo();
uint64_t GetTotalMemory();
uint64_t GetMemoryPageSize();
// total - pageSize x (active + inactive + speculative + wire + compressor
// - purgeable - external).
uint64_t GetFreeMemory(const vm_statistics64* stats, uint64_t total, uint64_t pageSize);
// Allocates 520-byte blocks of random bytes up to the memory not in active,
// wired, compressed or speculative use, asking `stop` before each block;
// frees them all at the end or when `stop` gives true.
void FreeUpMemory(const std::function<bool()>& stop);
// Logs each figure in gigabytes with two decimals, then a rule.
void printOutStat(const vm_statistics64* stats, uint64_t pageSize);
std::optional<NetworkStat> GetNetworkStat();

// Forgets the cached total memory and page size.
void resetSystemFiguresForTesting();

}  // namespace Core
