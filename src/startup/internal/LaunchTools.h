#pragma once
// The two system tools behind startup items, "/usr/bin/id" and
// "/bin/launchctl", run through taskSyncRunner (so under the layout's root).
// A tool that isn't there is told apart from one that printed nothing: the
// caller gets nothing and the log gets one line naming the tool and what was
// being done, instead of the launch failure's text being parsed as output.
//
// Threading: any thread; blocks while the tool runs.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Core::internal {

inline constexpr const char* kIdTool = "/usr/bin/id";
inline constexpr const char* kLaunchctlTool = "/bin/launchctl";

// The tool's standard output; nothing (and a log line) when the tool can't
// be run. `purpose` completes the log line: "startup items: <purpose>: ...".
std::optional<std::string> runLaunchTool(const std::string& command, const std::vector<std::string>& args,
                                         std::string_view purpose);

// "/usr/bin/id -u" trimmed: the current user's number; nothing (and a log
// line) when the tool can't be run or prints no number.
std::optional<std::string> currentUserNumber(std::string_view purpose);

// False (and a log line) when the tool at `command` can't be run.
bool launchToolAvailable(const std::string& command, std::string_view purpose);

// `text` without leading and trailing white space (ASCII).
std::string_view trimWhitespace(std::string_view text);

}  // namespace Core::internal
