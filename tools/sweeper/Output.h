#pragma once
// Output helpers shared by the console host's commands.

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>
#include <string_view>

namespace sweeper {

// Paths come from the disk as bytes; a name that is not UTF-8 must not cost
// the whole document, so each bad sequence becomes U+FFFD.
constexpr auto kJsonErrors = nlohmann::json::error_handler_t::replace;

// Prints a JSON document on standard output, one document per command.
inline void printJson(const nlohmann::json& document) {
    std::string text = document.dump(2, ' ', false, kJsonErrors);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

// The same for a document whose members keep the order they were added in.
inline void printOrderedJson(const nlohmann::ordered_json& document) {
    std::string text = document.dump(2, ' ', false, kJsonErrors);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

// `text` as a quoted JSON string, for commands that write their document
// piece by piece instead of holding it whole.
inline std::string jsonString(std::string_view text) {
    return nlohmann::json(std::string(text)).dump(-1, ' ', false, kJsonErrors);
}

}  // namespace sweeper
