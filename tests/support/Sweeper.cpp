#include "support/Sweeper.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace testing_support {

std::string sweeperPath() { return std::string(CORE_BINARY_DIR) + "/tools/sweeper"; }

bool sweeperBuilt() { return std::filesystem::exists(sweeperPath()); }

SweeperRun runSweeper(const std::string& arguments, const std::string& workingDirectory, const std::string& launcher) {
    // Standard error goes to a file of its own, so that reading one pipe
    // can't block on the other filling up.
    std::string errPath = (std::filesystem::temp_directory_path() / "sweeper-stderr-XXXXXX").string();
    int errFd = ::mkstemp(errPath.data());
    std::string command = (launcher.empty() ? "" : launcher + " ") + sweeperPath() + " " + arguments + (errFd >= 0 ? " 2>'" + errPath + "'" : " 2>/dev/null");
    if (!workingDirectory.empty()) command = "cd '" + workingDirectory + "' && " + command;
    SweeperRun run{-1, {}, {}};
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe != nullptr) {
        char chunk[4096];
        for (size_t n; (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;) run.out.append(chunk, n);
        int status = pclose(pipe);
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    if (errFd >= 0) {
        char chunk[4096];
        for (ssize_t n; (n = ::read(errFd, chunk, sizeof chunk)) > 0;) run.err.append(chunk, size_t(n));
        ::close(errFd);
        ::unlink(errPath.c_str());
    }
    return run;
}

nlohmann::json parsedOutput(const SweeperRun& run) {
    EXPECT_EQ(run.status, 0) << run.err;
    nlohmann::json doc = nlohmann::json::parse(run.out, nullptr, false);
    EXPECT_FALSE(doc.is_discarded()) << run.out;
    return doc.is_discarded() ? nlohmann::json::object() : doc;
}

}  // namespace testing_support
