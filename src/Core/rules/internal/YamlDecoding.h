#pragma once
// Shared pieces of the YAML decoding of the resource documents: loading
// with line and column in the error, and typed reads of optional fields
// that fail with the entry's key and the field's name.

#include <yaml-cpp/yaml.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Core::internal {

// A field of the wrong type; the decoder turns it into a ResourceError.
struct DecodingFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "line L, column C" of a node or an error (1-based).
std::string describePosition(const YAML::Mark& mark);

// Runs `decode`, turning a DecodingFailure or a YAML error into a
// ResourceError naming `file`.
template <class F>
auto decodingFailuresOf(const std::string& file, F&& decode) -> decltype(decode());

// Parses `text`; throws ResourceError(file, "line L, column C: ...") on a
// syntax error.
YAML::Node loadYaml(std::string_view text, const std::string& file);

// The readers below return nothing for an absent or null field and throw
// DecodingFailure naming `entry` and `field` for a wrong type.
std::optional<std::string> readString(const YAML::Node& map, const std::string& entry, const char* field);
std::optional<std::vector<std::string>> readStringList(const YAML::Node& map, const std::string& entry,
                                                        const char* field);
std::optional<std::vector<std::pair<std::string, std::vector<std::string>>>> readStringListMap(
    const YAML::Node& map, const std::string& entry, const char* field);

[[noreturn]] void rethrowAsResourceError(const std::string& file);

template <class F>
auto decodingFailuresOf(const std::string& file, F&& decode) -> decltype(decode()) {
    try {
        return decode();
    } catch (const DecodingFailure&) {
        rethrowAsResourceError(file);
    } catch (const YAML::Exception&) {
        rethrowAsResourceError(file);
    }
}

}  // namespace Core::internal
