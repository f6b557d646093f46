#pragma once
// Output helpers shared by the console host's commands.

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>

namespace sweeper {

// Prints a JSON document on standard output, one document per command.
inline void printJson(const nlohmann::json& document) {
    std::string text = document.dump(2);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

}  // namespace sweeper
