// The kernel figures over /proc and /sys files of the test's own.
#include "SmcTesting.h"
#include "monitor/SystemFigures.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace Core;
using testing_support::writeFile;

namespace {

class SystemFiguresTest : public testing::Test {
protected:
    SystemFiguresTest() {
        auto& kernel = platform::KernelFigures::shared();
        kernel.setProcFolder(dir / "proc");
        kernel.setNetFolder(dir / "net");
        resetSystemFiguresForTesting();
    }
    ~SystemFiguresTest() override {
        auto& kernel = platform::KernelFigures::shared();
        kernel.setProcFolder("/proc");
        kernel.setNetFolder("/sys/class/net");
        resetSystemFiguresForTesting();
    }
    void interface(const std::string& name, const std::string& flags, const std::string& rx, const std::string& tx) {
        writeFile(dir / ("net/" + name + "/flags"), flags + "\n");
        if (!rx.empty()) writeFile(dir / ("net/" + name + "/statistics/rx_bytes"), rx + "\n");
        if (!tx.empty()) writeFile(dir / ("net/" + name + "/statistics/tx_bytes"), tx + "\n");
    }
    uint64_t pages(uint64_t kB) const { return kB * 1024 / GetMemoryPageSize(); }

    testing_support::TempDir dir;
};

const char* kMeminfo =
    "MemTotal:        8000000 kB\n"
    "MemFree:          999999 kB\n"
    "Active:          3000001 kB\n"
    "Inactive:        2000003 kB\n"
    "Active(anon):    1000000 kB\n"
    "Inactive(anon):   500000 kB\n"
    "Active(file):    2000001 kB\n"
    "Inactive(file):  1500003 kB\n"
    "Unevictable:        4001 kB\n"
    "SUnreclaim:       100003 kB\n"
    "KernelStack:       16001 kB\n"
    "PageTables:        40003 kB\n"
    "Zswap:              8007 kB\n"
    "Zswapped:          32005 kB\n"
    "HugePages_Total:       0\n";

}  // namespace

TEST_F(SystemFiguresTest, ProcessorLinesGiveTheirTicks) {
    writeFile(dir / "proc/stat",
              "cpu  900 9 900 9000 90 9 9 0 0 0\n"
              "cpu0 100 5 200 3000 40 7 3 11 0 0\n"
              "cpu1 4294967396 0 10 20\n"
              "intr 1 2 3\n"
              "cpufreq 1 2 3 4\n");
    auto cpus = GetCPULoadInfo();
    ASSERT_TRUE(cpus);
    ASSERT_EQ(cpus->size(), 2u);  // the total line is not a processor
    EXPECT_EQ((*cpus)[0].user, 100u);
    EXPECT_EQ((*cpus)[0].system, 200u + 7 + 3);
    EXPECT_EQ((*cpus)[0].idle, 3000u + 40);
    EXPECT_EQ((*cpus)[1].user, 100u);  // cut to 32 bits
    EXPECT_EQ((*cpus)[1].idle, 20u);   // an old kernel's short line
    writeFile(dir / "proc/stat", "cpu 1 2 3 4\n");
    EXPECT_FALSE(GetCPULoadInfo());
}

TEST_F(SystemFiguresTest, MemoryStatisticsAndTheSharedFormula) {
    EXPECT_EQ(GetTotalMemory(), 0u);  // no meminfo yet; not kept
    EXPECT_FALSE(GetMemoryInfo());
    writeFile(dir / "proc/meminfo", kMeminfo);
    EXPECT_EQ(GetTotalMemory(), uint64_t{8000000} * 1024);
    uint64_t pageSize = GetMemoryPageSize();
    ASSERT_GT(pageSize, 0u);
    auto stats = platform::KernelFigures::shared().vmStatistics(pageSize);
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->free_count, pages(999999));
    EXPECT_EQ(stats->active_count, pages(3000001));
    EXPECT_EQ(stats->inactive_count, pages(2000003));
    // Each line is turned into pages on its own, rounding down.
    EXPECT_EQ(stats->wire_count, pages(4001) + pages(100003) + pages(16001) + pages(40003));
    EXPECT_EQ(stats->compressor_page_count, pages(8007));
    EXPECT_EQ(stats->external_page_count, pages(2000001) + pages(1500003));
    EXPECT_EQ(stats->internal_page_count, pages(1000000) + pages(500000));
    EXPECT_EQ(stats->total_uncompressed_pages_in_compressor, pages(32005));
    EXPECT_EQ(stats->speculative_count, 0u);
    EXPECT_EQ(stats->purgeable_count, 0u);

    auto memory = GetMemoryInfo();
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->totalSize, uint64_t{8000000} * 1024);
    // The formula itself is checked on figures of its own below.
    EXPECT_EQ(memory->freeSize, GetFreeMemory(&*stats, memory->totalSize, pageSize));

    // The total stays cached once read.
    writeFile(dir / "proc/meminfo", "MemTotal: 16 kB\n");
    EXPECT_EQ(GetTotalMemory(), uint64_t{8000000} * 1024);
}

TEST_F(SystemFiguresTest, FreeSubtractsPurgeableAndExternalPages) {
    vm_statistics64 stats;
    stats.active_count = 10;
    stats.inactive_count = 20;
    stats.speculative_count = 3;
    stats.wire_count = 5;
    stats.compressor_page_count = 2;
    stats.purgeable_count = 4;
    stats.external_page_count = 6;
    EXPECT_EQ(GetFreeMemory(&stats, 100000, 1000), 100000u - 1000 * 30);
}

TEST_F(SystemFiguresTest, FreeUpMemoryAsksBeforeEveryBlock) {
    writeFile(dir / "proc/meminfo", kMeminfo);
    int calls = 0;
    FreeUpMemory([&] { return ++calls > 0; });
    EXPECT_EQ(calls, 1);  // stopped before the first block: nothing allocated
    calls = 0;
    FreeUpMemory([&] { return ++calls > 3; });
    EXPECT_EQ(calls, 4);
    // A tiny target: one block covers it, and the loop ends by itself.
    writeFile(dir / "proc/meminfo", "MemTotal: 1 kB\n");
    resetSystemFiguresForTesting();
    calls = 0;
    FreeUpMemory([&] { return ++calls > 1000; });
    EXPECT_EQ(calls, 2);
}

TEST_F(SystemFiguresTest, PrintOutStatLogsGigabytes) {
    vm_statistics64 stats;
    stats.active_count = 262144;  // 1 GiB of 4096-byte pages
    stats.inactive_count = 131072;
    stats.external_page_count = 65536;
    testing_support::LogLines log;
    printOutStat(&stats, 4096);
    auto lines = log.taken();
    ASSERT_EQ(lines.size(), 12u);
    EXPECT_EQ(lines[0], "active_count: 1.00");
    EXPECT_EQ(lines[1], "inactive_count: 0.50");
    EXPECT_EQ(lines[6], "external_page_count: 0.25");
    EXPECT_EQ(lines[8], "app: 1.25");
    EXPECT_EQ(lines[11], "================================");
}

TEST_F(SystemFiguresTest, NetworkSumsEveryInterfaceButLoopback) {
    EXPECT_FALSE(GetNetworkStat());
    interface("lo", "0x9", "5000000000", "5000000000");
    interface("eth0", "0x1003", "6000000000", "100");
    interface("wlan0", "0x1002", "7", "8");  // down, still counted
    interface("odd", "not-hex", "1", "1");
    interface("bare", "0x1003", "", "");
    auto network = GetNetworkStat();
    ASSERT_TRUE(network);
    EXPECT_EQ(network->bytesIn, 6000000007u);  // past 32 bits
    EXPECT_EQ(network->bytesOut, 108u);
}
