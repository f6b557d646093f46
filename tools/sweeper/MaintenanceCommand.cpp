// sweeper maintenance dns|spotlight: flush the DNS cache or rebuild the
// search index through the privileged helper, installing it if needed.
#include "Command.h"
#include "Output.h"

#include "monitor/Maintenance.h"
#include "platform/Dispatch.h"

#include <chrono>
#include <cstdio>
#include <optional>

namespace sweeper {
namespace {

int runMaintenance(void (*command)(std::function<void(bool)>), const char* done, const Globals& globals) {
    std::optional<bool> outcome;
    command([&](bool ok) { outcome = ok; });
    // complete comes on the main queue (or at once when the helper can't be reached).
    platform::dispatch::runMainLoopUntil([&] { return outcome.has_value(); }, std::chrono::hours(24));
    bool ok = outcome.value_or(false);
    if (globals.json)
        printJson({{"ok", ok}});
    else
        std::printf("%s\n", ok ? done : "failed");
    return ok ? 0 : 1;
}

const CommandRegistration dnsRegistration{
    {"maintenance", "dns"}, "Flush the DNS cache through the helper tool",
    [](CLI::App&, Globals& globals) -> Action {
        return [&globals] { return runMaintenance(Core::clearDNSCache, "the DNS cache was flushed", globals); };
    }};

const CommandRegistration spotlightRegistration{
    {"maintenance", "spotlight"}, "Rebuild the file search index through the helper tool",
    [](CLI::App&, Globals& globals) -> Action {
        return [&globals] { return runMaintenance(Core::reindexSpotlight, "the index was rebuilt", globals); };
    }};

}  // namespace
}  // namespace sweeper
