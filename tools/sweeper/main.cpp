// sweeper: the console host of the library. It drives every scanner the way
// a host application would and prints what the delegates receive.
#include "Command.h"
#include "Output.h"

#include "platform/Analytics.h"
#include "platform/Layout.h"
#include "platform/ResourceBundle.h"

#include <cstdio>
#include <exception>
#include <map>
#include <memory>

namespace sweeper {
namespace {

struct Registered {
    std::vector<std::string> path;
    std::string description;
    Setup setup;
};

std::vector<Registered>& registry() {
    static std::vector<Registered> entries;
    return entries;
}

void applyGlobals(const Globals& g) {
    if (!g.root.empty()) platform::Layout::shared().setRoot(g.root);
    if (!g.home.empty()) platform::Layout::shared().setHome(g.home);
    if (!g.resources.empty()) platform::ResourceBundle::shared().setFolder(g.resources);
    // A quiet run leaves standard error to the command's own failures: the
    // library's log lines (pictures that don't decode, analytics) are dropped.
    if (g.quiet) platform::setLogHandler([](const std::string&) {});
}

}  // namespace

CommandRegistration::CommandRegistration(std::vector<std::string> path, std::string description, Setup setup) {
    registry().push_back({std::move(path), std::move(description), std::move(setup)});
}

int run(int argc, char** argv) {
    CLI::App app{"sweeper: finds and removes what can be cleaned, maps disk use, reads the machine"};
    app.require_subcommand(1);
    Globals globals;
    app.add_option("--root", globals.root, "Prefix under which every absolute system path is looked up");
    app.add_option("--home", globals.home, "The home folder (a real path, not placed under --root)");
    app.add_option("--resources", globals.resources, "The resources folder");
    app.add_flag("--json", globals.json, "Machine-readable output on standard output");
    app.add_flag("--quiet", globals.quiet, "No progress and no log lines of the library");
    app.fallthrough();

    std::map<std::vector<std::string>, CLI::App*> nodes;
    auto nodeFor = [&](const std::vector<std::string>& path, const std::string& description) {
        CLI::App* parent = &app;
        std::vector<std::string> prefix;
        for (size_t i = 0; i < path.size(); ++i) {
            prefix.push_back(path[i]);
            auto found = nodes.find(prefix);
            if (found == nodes.end()) {
                CLI::App* sub = parent->add_subcommand(path[i], i + 1 == path.size() ? description : "");
                sub->fallthrough();
                found = nodes.emplace(prefix, sub).first;
            } else if (i + 1 == path.size() && !description.empty()) {
                found->second->description(description);
            }
            parent = found->second;
        }
        return parent;
    };

    std::vector<std::pair<CLI::App*, Action>> actions;
    for (const auto& entry : registry()) {
        CLI::App* cmd = nodeFor(entry.path, entry.description);
        actions.emplace_back(cmd, entry.setup(*cmd, globals));
    }
    // A group such as `rules` needs one of its commands.
    for (auto& [path, node] : nodes)
        if (!node->get_subcommands({}).empty()) node->require_subcommand(1);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    try {
        applyGlobals(globals);
        for (auto& [cmd, action] : actions)
            if (cmd->parsed() && cmd->get_subcommands().empty()) return action();
        std::fprintf(stderr, "sweeper: no command\n");
        return 2;
    } catch (const CommandError& e) {
        std::fprintf(stderr, "sweeper: %s\n", e.what());
        return e.code;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "sweeper: %s\n", e.what());
        return 1;
    }
}

}  // namespace sweeper

int main(int argc, char** argv) { return sweeper::run(argc, argv); }
