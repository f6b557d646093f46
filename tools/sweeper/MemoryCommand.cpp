// sweeper memory free: FreeUpMemory until it is done, interrupted, or has
// allocated --max-blocks blocks.
#include "Command.h"
#include "MonitorSources.h"
#include "Output.h"

#include "monitor/SystemFigures.h"

#include <cstdio>
#include <optional>

namespace sweeper {
namespace {

const CommandRegistration registration{
    {"memory", "free"}, "Fill and free memory so that the system drops its caches (Ctrl-C stops)",
    [](CLI::App& cmd, Globals& globals) -> Action {
        auto maxBlocks = std::make_shared<std::optional<uint64_t>>();
        cmd.add_option("--max-blocks", *maxBlocks, "Allocate at most N blocks of 520 bytes");
        return [maxBlocks, &globals] {
            watchInterrupt();
            uint64_t stopCalls = 0;
            Core::FreeUpMemory([&] {
                ++stopCalls;
                return interrupted() || (*maxBlocks && stopCalls > **maxBlocks);
            });
            if (globals.json)
                printJson({{"stopCalls", stopCalls}});
            else
                std::printf("asked to stop %llu times\n", static_cast<unsigned long long>(stopCalls));
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
