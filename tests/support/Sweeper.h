#pragma once
// Runs the built console host with arguments and collects its standard
// output and exit status, for tests of its commands; their fixture.

#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace testing_support {

struct SweeperRun {
    int status;       // the exit code; -1 when it did not exit normally
    std::string out;  // standard output
    std::string err;  // standard error
};

// True when the console host is built in this tree (not in sanitizer builds).
bool sweeperBuilt();
// Where the built console host is.
std::string sweeperPath();
// Runs "sweeper ARGUMENTS" through the shell (quote arguments as needed), in
// `workingDirectory` when one is given, and through `launcher` when one is
// given ("LAUNCHER SWEEPER ARGUMENTS", e.g. a wrapper that sets up a mount).
SweeperRun runSweeper(const std::string& arguments, const std::string& workingDirectory = "",
                      const std::string& launcher = "");
// The document a --json run printed; fails the test (and gives an empty
// object) unless the run exited 0 and printed JSON.
nlohmann::json parsedOutput(const SweeperRun& run);

// The fixture of the commands' tests: skipped where the console host is not
// built, with a temporary folder of its own.
class SweeperTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
    }
    TempDir dir;
};

}  // namespace testing_support
