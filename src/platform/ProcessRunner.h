#pragma once
// ProcessRunner: runs a tool to its end and collects its standard output,
// standing in for the platform's task objects. The tool's path is taken as
// given; callers that run system tools place it under the layout's root
// first (platform::Layout::systemPath), so tests can put fake tools there.
//
// Threading: any thread; the call blocks (marked as a blocking call for the
// dispatch pool) until the tool has exited.
//
//   auto result = platform::ProcessRunner::run("/usr/bin/id", {"-u"});
//   if (result.launched() && result.exitStatus == 0) use(result.output);

#include <string>
#include <vector>

namespace platform {

class ProcessRunner {
public:
    struct Result {
        // 0 when the tool started; otherwise the errno of the failed launch.
        int launchError = 0;
        // The exit code; -1 when the tool ended by a signal or never ran.
        int exitStatus = -1;
        // Everything the tool wrote to standard output.
        std::string output;

        bool launched() const { return launchError == 0; }
    };

    struct Options {
        // Standard error goes into the same pipe as standard output, so
        // `output` holds both, interleaved as the tool wrote them.
        bool mergeStandardError = false;
    };

    // Starts `path` with `args` (argv[0] is `path`), standard input from
    // /dev/null and standard error inherited (or merged, see Options);
    // reads the pipe to its end and then waits for the exit.
    static Result run(const std::string& path, const std::vector<std::string>& args);
    static Result run(const std::string& path, const std::vector<std::string>& args, const Options& options);
};

}  // namespace platform
