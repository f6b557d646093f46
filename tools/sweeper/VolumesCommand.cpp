// sweeper volumes: the start-up volume's size and free space, whether its
// disk is solid state, and every mounted volume with its block count.
#include "Command.h"
#include "Output.h"

#include "disk/DiskInfoReader.h"
#include "platform/ByteCountFormatter.h"

#include <cstdio>

namespace sweeper {
namespace {

int runVolumes(const Globals& g) {
    auto& reader = Core::DiskInfoReader::shared();
    auto info = reader.read();
    if (!info) throw CommandError("cannot read the root volume");
    bool ssd = reader.isSSD();
    auto mounts = Core::getMountedVolumesInfo();
    if (g.json) {
        nlohmann::json table = nlohmann::json::object();
        for (const auto& [path, blocks] : mounts) table[path] = blocks;
        printJson({{"root", {{"total", info->totalSize}, {"free", info->freeSize}}}, {"ssd", ssd}, {"mounts", table}});
        return 0;
    }
    std::printf("root\t%s total\t%s free\t%s\n", platform::formatByteCount(info->totalSize).c_str(),
                platform::formatByteCount(info->freeSize).c_str(), ssd ? "solid state" : "rotational or unknown");
    for (const auto& [path, blocks] : mounts)
        std::printf("%llu\t%s\n", static_cast<unsigned long long>(blocks), path.c_str());
    return 0;
}

const CommandRegistration registration{
    {"volumes"}, "Show the root volume's size and free space, its disk kind and the mounted volumes",
    [](CLI::App&, Globals& g) -> Action { return [&g] { return runVolumes(g); }; }};

}  // namespace
}  // namespace sweeper
