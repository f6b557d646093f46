#pragma once
// The console host's command registry. Each command lives in a file of its
// own and registers itself with a static `CommandRegistration`; main() builds
// the argument parser from the registry, applies the global options to the
// platform layer, and runs the one command that was parsed.
//
//   static sweeper::CommandRegistration reg{{"rules", "check"}, "Decode a rule document",
//       [](CLI::App& cmd, sweeper::Globals& g) {
//           auto file = std::make_shared<std::string>();
//           cmd.add_option("FILE", *file);
//           return [file, &g] { ...; return 0; };
//       }};

#include <CLI/CLI.hpp>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sweeper {

// Options every command honours; filled before the command's action runs.
struct Globals {
    std::string root;       // prefix for every absolute system path
    std::string home;       // the user's home folder
    std::string resources;  // the resources folder
    bool json = false;      // machine-readable output on stdout, nothing else there
    bool quiet = false;     // no progress
};

// What a command does once the arguments are parsed; returns the exit code.
using Action = std::function<int()>;
// Adds the command's options to `cmd` and returns its action.
using Setup = std::function<Action(CLI::App& cmd, Globals& globals)>;

struct CommandRegistration {
    // `path` is the command's words, e.g. {"rules", "check"}; parents that no
    // command registers themselves are made on demand.
    CommandRegistration(std::vector<std::string> path, std::string description, Setup setup);
};

// A failure the user should read: printed to stderr, exit code `code`
// (1 for a failed operation, 2 for a usage error).
struct CommandError : std::runtime_error {
    CommandError(const std::string& message, int code = 1) : std::runtime_error(message), code(code) {}
    int code;
};

}  // namespace sweeper
