#include "platform/KernelFigures.h"

#include <net/if.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace platform {

namespace {

namespace fs = std::filesystem;

// meminfo as key -> kB; nothing when the file can't be read.
std::optional<std::map<std::string, uint64_t>> readMeminfo(const std::string& folder) {
    std::ifstream in(folder + "/meminfo");
    if (!in) return std::nullopt;
    std::map<std::string, uint64_t> values;
    std::string line;
    while (std::getline(in, line)) {
        auto colon = line.find(':');
        if (colon == std::string::npos) continue;
        std::istringstream rest(line.substr(colon + 1));
        uint64_t value = 0;
        if (rest >> value) values[line.substr(0, colon)] = value;
    }
    return values;
}

std::optional<uint64_t> readUnsigned(const fs::path& path, int base) {
    std::ifstream in(path);
    std::string text;
    if (!(in >> text)) return std::nullopt;
    try {
        size_t used = 0;
        uint64_t value = std::stoull(text, &used, base);
        if (used != text.size()) return std::nullopt;
        return value;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace

KernelFigures& KernelFigures::shared() {
    static KernelFigures* figures = new KernelFigures();
    return *figures;
}

KernelFigures::KernelFigures(std::string procFolder, std::string netFolder)
    : _procFolder(std::move(procFolder)), _netFolder(std::move(netFolder)) {}

void KernelFigures::setProcFolder(const std::string& folder) { _procFolder = folder; }
void KernelFigures::setNetFolder(const std::string& folder) { _netFolder = folder; }

std::optional<std::vector<KernelFigures::ProcessorTicks>> KernelFigures::processorTicks() const {
    std::ifstream in(_procFolder + "/stat");
    if (!in) return std::nullopt;
    std::vector<ProcessorTicks> processors;
    std::string line;
    while (std::getline(in, line)) {
        if (line.size() < 4 || line.compare(0, 3, "cpu") != 0 || !std::isdigit(static_cast<unsigned char>(line[3])))
            continue;
        std::istringstream fields(line);
        std::string name;
        uint64_t user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0;
        fields >> name >> user >> nice >> system >> idle;
        if (!fields) continue;
        fields >> iowait >> irq >> softirq;  // absent on old kernels: 0
        auto cut = [](uint64_t value) { return static_cast<uint32_t>(value); };
        processors.push_back({cut(user), cut(system + irq + softirq), cut(idle + iowait), cut(nice)});
    }
    if (processors.empty()) return std::nullopt;
    return processors;
}

uint64_t KernelFigures::memorySize() const {
    auto meminfo = readMeminfo(_procFolder);
    if (!meminfo) return 0;
    auto total = meminfo->find("MemTotal");
    return total == meminfo->end() ? 0 : total->second * 1024;
}

uint64_t KernelFigures::pageSize() const {
    long size = ::sysconf(_SC_PAGESIZE);
    return size > 0 ? static_cast<uint64_t>(size) : 0;
}

std::optional<vm_statistics64> KernelFigures::vmStatistics(uint64_t pageSize) const {
    auto meminfo = readMeminfo(_procFolder);
    if (!meminfo || pageSize == 0) return std::nullopt;
    auto kB = [&](const char* key) {
        auto found = meminfo->find(key);
        return found == meminfo->end() ? uint64_t{0} : found->second;
    };
    auto pages = [&](uint64_t kilobytes) { return kilobytes * 1024 / pageSize; };
    vm_statistics64 stats;
    stats.free_count = pages(kB("MemFree"));
    stats.active_count = pages(kB("Active"));
    stats.inactive_count = pages(kB("Inactive"));
    stats.wire_count = pages(kB("Unevictable")) + pages(kB("SUnreclaim")) + pages(kB("KernelStack")) + pages(kB("PageTables"));
    stats.compressor_page_count = pages(kB("Zswap"));
    stats.external_page_count = pages(kB("Active(file)")) + pages(kB("Inactive(file)"));
    stats.internal_page_count = pages(kB("Active(anon)")) + pages(kB("Inactive(anon)"));
    stats.total_uncompressed_pages_in_compressor = pages(kB("Zswapped"));
    return stats;
}

std::optional<KernelFigures::NetworkBytes> KernelFigures::networkBytes() const {
    std::error_code ec;
    fs::directory_iterator it(_netFolder, ec);
    if (ec) return std::nullopt;
    NetworkBytes bytes;
    for (fs::directory_iterator end; !ec && it != end; it.increment(ec)) {
        const fs::path interface = it->path();
        auto flags = readUnsigned(interface / "flags", 16);
        if (!flags || (*flags & IFF_LOOPBACK) != 0) continue;
        bytes.received += readUnsigned(interface / "statistics/rx_bytes", 10).value_or(0);
        bytes.sent += readUnsigned(interface / "statistics/tx_bytes", 10).value_or(0);
    }
    return bytes;
}

}  // namespace platform
