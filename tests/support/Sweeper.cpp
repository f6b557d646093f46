#include "support/Sweeper.h"

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>

namespace testing_support {

namespace {

std::string sweeperPath() { return std::string(CORE_BINARY_DIR) + "/tools/sweeper"; }

}  // namespace

bool sweeperBuilt() { return std::filesystem::exists(sweeperPath()); }

SweeperRun runSweeper(const std::string& arguments, const std::string& workingDirectory) {
    std::string command = sweeperPath() + " " + arguments + " 2>/dev/null";
    if (!workingDirectory.empty()) command = "cd '" + workingDirectory + "' && " + command;
    SweeperRun run{-1, {}};
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return run;
    char chunk[4096];
    for (size_t n; (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;) run.out.append(chunk, n);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

}  // namespace testing_support
