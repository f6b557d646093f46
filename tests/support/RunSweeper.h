#pragma once
// Test helper: runs the built console host with a command line and gives
// back its exit status and standard output (standard error is dropped).
//
//   auto run = testing_support::runSweeper("--json exif /tmp/a.jpg");
//   EXPECT_EQ(run.status, 0);

#include <string>

namespace testing_support {

struct SweeperRun {
    int status;  // the exit status; -1 when it could not run or did not exit
    std::string out;
};

// Whether the console host is built in this tree (the sanitizer presets
// build no tools).
bool sweeperBuilt();

// `arguments` go to the shell as written; quote paths that need it.
SweeperRun runSweeper(const std::string& arguments);

}  // namespace testing_support
