#pragma once
// The text of a resource document that the library can do without: nothing
// when it is missing or unreadable, with a line in the log that names the
// file, the cause and `consequence` ("no entries").

#include <optional>
#include <string>

namespace Core::internal {

std::optional<std::string> readOptionalResource(const std::string& name, const std::string& type,
                                                const std::string& consequence);
// Logs "<what>; <consequence>".
void logResourceProblem(const std::string& what, const std::string& consequence);

}  // namespace Core::internal
