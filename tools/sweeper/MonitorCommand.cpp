// sweeper monitor: the machine's figures as a live view: processor shares,
// memory, network rates, disk, fans and temperatures, between two readings
// S seconds apart, repeated until interrupted (or once).
#include "Command.h"
#include "MonitorSources.h"
#include "Output.h"

#include "monitor/SystemFigures.h"
#include "platform/ByteCountFormatter.h"

#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace sweeper {
namespace {

using Clock = std::chrono::steady_clock;

struct Reading {
    std::optional<std::vector<Core::CPULoadInfo>> cpu;
    std::optional<Core::NetworkStat> network;
    Clock::time_point time;
};

Reading takeReading() { return {Core::GetCPULoadInfo(), Core::GetNetworkStat(), Clock::now()}; }

// Sleeps `seconds`, ending early on an interrupt.
void pause(double seconds) {
    const auto whole = static_cast<time_t>(seconds);
    timespec left{whole, static_cast<long>((seconds - static_cast<double>(whole)) * 1e9)};
    while (!interrupted() && ::nanosleep(&left, &left) != 0) {
    }
}

struct Share {
    double user = 0, system = 0, idle = 0;
};

std::vector<Share> shares(const std::vector<Core::CPULoadInfo>& before, const std::vector<Core::CPULoadInfo>& after) {
    std::vector<Share> result;
    for (size_t i = 0; i < after.size() && i < before.size(); ++i) {
        // Counters are 32 bits and wrap; unsigned differences stay right.
        uint32_t user = after[i].user - before[i].user;
        uint32_t system = after[i].system - before[i].system;
        uint32_t idle = after[i].idle - before[i].idle;
        double total = double(user) + double(system) + double(idle);
        result.push_back(total == 0 ? Share{} : Share{user / total, system / total, idle / total});
    }
    return result;
}

nlohmann::json figuresJson(const Reading& first, const Reading& second) {
    nlohmann::json document = nlohmann::json::object();
    nlohmann::json cpu = nullptr, cpuLoad = nullptr;
    if (second.cpu) {
        cpu = nlohmann::json::array();
        for (const auto& p : *second.cpu) cpu.push_back({{"user", p.user}, {"system", p.system}, {"idle", p.idle}});
    }
    if (first.cpu && second.cpu) {
        cpuLoad = nlohmann::json::array();
        for (const auto& s : shares(*first.cpu, *second.cpu))
            cpuLoad.push_back({{"user", s.user}, {"system", s.system}, {"idle", s.idle}});
    }
    document["cpu"] = cpu;
    document["cpuLoad"] = cpuLoad;

    auto memory = Core::GetMemoryInfo();
    uint64_t pageSize = Core::GetMemoryPageSize();
    auto stats = platform::KernelFigures::shared().vmStatistics(pageSize);
    nlohmann::json statistics = nullptr, fromStatistics = nullptr;
    if (stats) {
        statistics = {{"free_count", stats->free_count},
                      {"active_count", stats->active_count},
                      {"inactive_count", stats->inactive_count},
                      {"speculative_count", stats->speculative_count},
                      {"wire_count", stats->wire_count},
                      {"compressor_page_count", stats->compressor_page_count},
                      {"purgeable_count", stats->purgeable_count},
                      {"external_page_count", stats->external_page_count},
                      {"internal_page_count", stats->internal_page_count},
                      {"total_uncompressed_pages_in_compressor", stats->total_uncompressed_pages_in_compressor}};
        uint64_t total = memory ? memory->totalSize : Core::GetTotalMemory();
        fromStatistics = Core::GetFreeMemory(&*stats, total, pageSize);
    }
    document["memory"] = {{"totalSize", memory ? nlohmann::json(memory->totalSize) : nullptr},
                          {"freeSize", memory ? nlohmann::json(memory->freeSize) : nullptr},
                          {"pageSize", pageSize},
                          {"statistics", statistics},
                          {"freeFromStatistics", fromStatistics}};

    nlohmann::json network = nullptr, rate = nullptr;
    if (second.network) network = {{"bytesIn", second.network->bytesIn}, {"bytesOut", second.network->bytesOut}};
    double elapsed = std::chrono::duration<double>(second.time - first.time).count();
    if (first.network && second.network && elapsed > 0)
        rate = {{"bytesIn", double(second.network->bytesIn - first.network->bytesIn) / elapsed},
                {"bytesOut", double(second.network->bytesOut - first.network->bytesOut) / elapsed}};
    document["network"] = network;
    document["networkRate"] = rate;

    auto disk = Core::GetDiskInfo();
    document["disk"] = disk ? nlohmann::json{{"totalSize", disk->totalSize}, {"freeSize", disk->freeSize}}
                            : nlohmann::json(nullptr);
    addSensorsJson(document, readSensors());
    return document;
}

std::string bytes(const nlohmann::json& value) {
    return value.is_number() ? platform::formatByteCount(value.get<int64_t>()) : std::string("-");
}

void printView(const nlohmann::json& d) {
    if (::isatty(STDOUT_FILENO)) std::printf("\x1b[H\x1b[2J");
    if (d["cpuLoad"].is_array()) {
        size_t i = 0;
        for (const auto& s : d["cpuLoad"])
            std::printf("cpu%-3zu user %5.1f%%  system %5.1f%%  idle %5.1f%%\n", i++, 100 * s["user"].get<double>(),
                        100 * s["system"].get<double>(), 100 * s["idle"].get<double>());
    } else {
        std::printf("cpu: -\n");
    }
    const auto& m = d["memory"];
    std::printf("memory: %s free of %s (from statistics %s)\n", bytes(m["freeSize"]).c_str(),
                bytes(m["totalSize"]).c_str(), bytes(m["freeFromStatistics"]).c_str());
    if (d["networkRate"].is_object())
        std::printf("network: in %s/s, out %s/s\n",
                    platform::formatByteCount(int64_t(d["networkRate"]["bytesIn"].get<double>())).c_str(),
                    platform::formatByteCount(int64_t(d["networkRate"]["bytesOut"].get<double>())).c_str());
    else
        std::printf("network: -\n");
    if (d["disk"].is_object())
        std::printf("disk: %s free of %s\n", bytes(d["disk"]["freeSize"]).c_str(), bytes(d["disk"]["totalSize"]).c_str());
    SensorReadings sensors;
    if (d["fans"].is_array()) {
        sensors.fans.emplace();
        for (const auto& f : d["fans"])
            sensors.fans->push_back({f["actualSpeed"].get<float>(), f["minimumSpeed"].get<float>(),
                                     f["maximumSpeed"].get<float>()});
    }
    sensors.cpuTemperature = d["cpuTemperature"].get<float>();
    sensors.universalCpuTemperature = d["universalCpuTemperature"].get<double>();
    if (d["siliconTemperatures"].is_object())
        sensors.siliconTemperatures = d["siliconTemperatures"].get<std::map<std::string, double>>();
    sensors.siliconCpuTemperature = d["siliconCpuTemperature"].get<float>();
    printSensorsText(sensors);
    std::fflush(stdout);
}

int runMonitor(bool once, double interval, const Globals& globals) {
    if (!(interval > 0) || interval > 86400) throw CommandError("--interval takes seconds above 0", 2);
    watchInterrupt();
    Reading first = takeReading();
    for (;;) {
        pause(interval);
        if (interrupted()) return 0;
        Reading second = takeReading();
        nlohmann::json document = figuresJson(first, second);
        if (globals.json) {
            printJson(document);
            return 0;
        }
        printView(document);
        if (once) return 0;
        first = second;
    }
}

const CommandRegistration registration{
    {"monitor"}, "CPU, memory, network, disk, fans and temperatures, live",
    [](CLI::App& cmd, Globals& globals) -> Action {
        auto once = std::make_shared<bool>(false);
        auto interval = std::make_shared<double>(1.0);
        cmd.add_flag("--once", *once, "One view, then exit (implied by --json)");
        cmd.add_option("--interval", *interval, "Seconds between readings (default 1)");
        return [once, interval, &globals] { return runMonitor(*once, *interval, globals); };
    }};

}  // namespace
}  // namespace sweeper
