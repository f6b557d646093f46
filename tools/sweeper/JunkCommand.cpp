// sweeper junk [--no-CATEGORY]... [--exclude PATH]... [--exclude-app PATH]...
// [--exclude-id ID]...: a full junk scan with a progress bar, then a summary
// by category, or with --json every delegate call as it arrived.
#include "Command.h"
#include "JunkReport.h"
#include "Output.h"

#include <unistd.h>

#include <memory>

namespace sweeper {
namespace {

struct JunkSwitches {
    JunkOptions options;
    bool noSystemCaches = false, noSystemLogs = false, noDmg = false, noTrash = false, noPurgeable = false,
         noAppCaches = false, noAppLogs = false, noXcode = false, noInternetCaches = false;

    Core::JunkFileFinderConfig config() const {
        return {!noSystemCaches, !noSystemLogs, !noDmg,    !noTrash,         !noPurgeable,
                !noAppCaches,    !noAppLogs,    !noXcode, !noInternetCaches};
    }
};

int runJunk(const Globals& g, JunkSwitches& s) {
    s.options.config = s.config();
    bool showProgress = !g.json && !g.quiet && ::isatty(STDERR_FILENO);
    auto result = scanJunk(s.options, showProgress);
    if (g.json) {
        printJson(junkJson(result));
        return 0;
    }
    std::printf("Junk found:\n");
    printJunkSummary(result);
    return 0;
}

const CommandRegistration registration{
    {"junk"}, "Scan for system and application junk",
    [](CLI::App& cmd, Globals& g) -> Action {
        auto s = std::make_shared<JunkSwitches>();
        cmd.add_flag("--no-system-caches", s->noSystemCaches, "Leave out the system caches");
        cmd.add_flag("--no-system-logs", s->noSystemLogs, "Leave out the system logs");
        cmd.add_flag("--no-dmg", s->noDmg, "Leave out disk images");
        cmd.add_flag("--no-trash", s->noTrash, "Leave out the trash");
        cmd.add_flag("--no-purgeable", s->noPurgeable, "Leave out purgeable space");
        cmd.add_flag("--no-app-caches", s->noAppCaches, "Leave out application caches");
        cmd.add_flag("--no-app-logs", s->noAppLogs, "Leave out application logs");
        cmd.add_flag("--no-xcode", s->noXcode, "Leave out the development environment's files");
        cmd.add_flag("--no-internet-caches", s->noInternetCaches, "Leave out browser caches");
        cmd.add_option("--exclude", s->options.excludeFiles, "Never report this path or what lies below it (repeatable)");
        cmd.add_option("--exclude-app", s->options.excludeApps, "Leave out this application bundle (repeatable)");
        cmd.add_option("--exclude-id", s->options.excludeIDs,
                       "Leave out junk of removed applications with this identifier (repeatable)");
        return [s, &g] { return runJunk(g, *s); };
    }};

}  // namespace
}  // namespace sweeper
