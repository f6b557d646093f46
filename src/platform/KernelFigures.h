#pragma once
// KernelFigures: the kernel's counters that the platform reads through its
// host calls, from Linux's files: processor ticks from <proc>/stat, memory
// from <proc>/meminfo, network bytes from <net>/IF/statistics. The folders
// are settable, so tests read files of their own.
//
// Threading: the readers may be called from any thread; set the folders
// before use.
//
//   auto& kernel = platform::KernelFigures::shared();
//   if (auto cpus = kernel.processorTicks()) show(cpus->size());

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// The platform's virtual memory statistics, the fields the figures use,
// each in pages.
struct vm_statistics64 {
    uint64_t free_count = 0;
    uint64_t active_count = 0;
    uint64_t inactive_count = 0;
    uint64_t speculative_count = 0;
    uint64_t wire_count = 0;
    uint64_t compressor_page_count = 0;
    uint64_t purgeable_count = 0;
    uint64_t external_page_count = 0;
    uint64_t internal_page_count = 0;
    uint64_t total_uncompressed_pages_in_compressor = 0;
};

class KernelFigures {
public:
    // One processor's tick counters, as the platform's load record holds
    // them (32 bits each).
    struct ProcessorTicks {
        uint32_t user = 0;
        uint32_t system = 0;
        uint32_t idle = 0;
        uint32_t nice = 0;
    };
    struct NetworkBytes {
        uint64_t received = 0;
        uint64_t sent = 0;
    };

    // The process-wide instance, reading "/proc" and "/sys/class/net".
    static KernelFigures& shared();
    KernelFigures(std::string procFolder = "/proc", std::string netFolder = "/sys/class/net");

    // The "cpuN" lines of stat in order (not the "cpu" total): user = user,
    // system = system + irq + softirq, idle = idle + iowait, nice = nice,
    // each cut to 32 bits. Nothing when stat can't be read or has no cpuN.
    std::optional<std::vector<ProcessorTicks>> processorTicks() const;
    // MemTotal in bytes; 0 when it can't be read.
    uint64_t memorySize() const;
    // sysconf(_SC_PAGESIZE); 0 on failure.
    uint64_t pageSize() const;
    // The statistics from meminfo, each line turned into pages on its own
    // (kB x 1024 / pageSize, rounded down), a missing line counting 0. Nothing when meminfo can't be read
    // or `pageSize` is 0.
    std::optional<vm_statistics64> vmStatistics(uint64_t pageSize) const;
    // The sums of rx_bytes and tx_bytes of every interface whose flags lack
    // IFF_LOOPBACK, up or down. Nothing when the folder can't be listed.
    std::optional<NetworkBytes> networkBytes() const;

    void setProcFolder(const std::string& folder);
    void setNetFolder(const std::string& folder);

private:
    std::string _procFolder;
    std::string _netFolder;
};

}  // namespace platform
