// sweeper large [--min-size N] [--exclude PATH]...: the files of at least N
// bytes below the home, largest first, from the metadata index, with their
// logical sizes.
#include "Command.h"
#include "Output.h"

#include "Core/disk/LargeFileFinder.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace sweeper {
namespace {

struct LargeOptions {
    int64_t minSize = 100 * 1024 * 1024;
    std::vector<std::string> excluded;
};

// Keeps the answer; the finder calls from its own queue.
class Collector : public Core::LargeFileFinderDelegate {
public:
    void largeFileFinderCurrent(const platform::URL&) override {}
    void largeFileFinderFinished(const std::vector<Core::File>& found) override {
        std::lock_guard lock(mutex);
        files = found;
    }
    std::mutex mutex;
    std::optional<std::vector<Core::File>> files;
};

int runLarge(const Globals& g, const LargeOptions& o) {
    auto collector = std::make_shared<Collector>();
    Core::LargeFileFinder finder;
    finder.delegate = collector;
    for (const auto& path : o.excluded) finder.exclubeFilesUrls.push_back(platform::URL::fileURL(path));
    finder.start(o.minSize);
    finder.waitUntilIdle();
    std::lock_guard lock(collector->mutex);
    if (!collector->files) throw CommandError("the index gave no answer");
    const auto& files = *collector->files;
    if (g.json) {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& file : files) list.push_back({{"path", file.url().path()}, {"size", file.size()}});
        printJson({{"files", list}});
        return 0;
    }
    for (const auto& file : files)
        std::printf("%lld\t%s\t%s\n", static_cast<long long>(file.size()), file.sizeString().c_str(),
                    file.url().path().c_str());
    if (!g.quiet) std::fprintf(stderr, "%zu files\n", files.size());
    return 0;
}

const CommandRegistration registration{
    {"large"}, "List the large files below the home, largest first",
    [](CLI::App& cmd, Globals& g) -> Action {
        auto o = std::make_shared<LargeOptions>();
        cmd.add_option("--min-size", o->minSize, "The smallest size listed, in bytes (default 100 MiB)")
            ->check(CLI::NonNegativeNumber);
        cmd.add_option("--exclude", o->excluded, "Leave out paths that begin with this one (repeatable)");
        return [o, &g] { return runLarge(g, *o); };
    }};

}  // namespace
}  // namespace sweeper
