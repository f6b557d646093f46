#include "Core/files/TaskSyncRunner.h"

#include "platform/Layout.h"
#include "platform/ProcessRunner.h"

#include <cstring>

namespace Core {

std::string taskSyncRunner(const std::string& command, const std::vector<std::string>& args) {
    std::string path = platform::Layout::shared().systemPath(command);
    auto result = platform::ProcessRunner::run(path, args);
    if (!result.launched())
        return "The tool \"" + path + "\" couldn't be launched: " + std::strerror(result.launchError) + ".";
    return result.output;
}

}  // namespace Core
