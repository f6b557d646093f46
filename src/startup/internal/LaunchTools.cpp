#include "startup/internal/LaunchTools.h"

#include "Core/files/TaskSyncRunner.h"
#include "platform/Analytics.h"
#include "platform/Layout.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Core::internal {

bool launchToolAvailable(const std::string& command, std::string_view purpose) {
    const std::string path = platform::Layout::shared().systemPath(command);
    if (::access(path.c_str(), X_OK) == 0) return true;
    const int error = errno;
    platform::log("startup items: " + std::string(purpose) + ": the tool \"" + path + "\" is not available (" +
                  std::strerror(error) + ")");
    return false;
}

std::optional<std::string> runLaunchTool(const std::string& command, const std::vector<std::string>& args,
                                         std::string_view purpose) {
    if (!launchToolAvailable(command, purpose)) return std::nullopt;
    return taskSyncRunner(command, args);
}

std::optional<std::string> currentUserNumber(std::string_view purpose) {
    auto output = runLaunchTool(kIdTool, {"-u"}, purpose);
    if (!output) return std::nullopt;
    std::string number(trimWhitespace(*output));
    if (number.empty()) {
        platform::log("startup items: " + std::string(purpose) + ": \"" +
                      platform::Layout::shared().systemPath(kIdTool) + " -u\" printed no user number");
        return std::nullopt;
    }
    return number;
}

std::string_view trimWhitespace(std::string_view text) {
    constexpr std::string_view kWhite = " \t\n\r\v\f";
    const size_t first = text.find_first_not_of(kWhite);
    if (first == std::string_view::npos) return {};
    const size_t last = text.find_last_not_of(kWhite);
    return text.substr(first, last - first + 1);
}

}  // namespace Core::internal
