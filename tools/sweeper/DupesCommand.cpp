// sweeper dupes ROOT...: duplicate files, packages and folders, and similar
// pictures, found by Core::DuplicateFileFinder through its delegate and the
// main loop.
#include "Command.h"
#include "DupesReport.h"
#include "Output.h"

#include "dff/api/DuplicateFileFinder.h"
#include "platform/ByteCountFormatter.h"
#include "platform/Dispatch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace sweeper {

namespace {

// Draws a progress bar with the current path on a terminal, and keeps the
// result when it comes.
class DupesDelegate : public Core::DuplicateFileFinderDelegate {
public:
    explicit DupesDelegate(bool showProgress) : _showProgress(showProgress) {}

    void current(const platform::URL& url) override {
        _path = url.path();
        draw();
    }
    void progress(double value) override {
        _value = value;
        draw();
    }
    void completion(const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar) override {
        if (_showProgress) std::fputs("\r\033[K", stderr);
        this->duplicates = duplicates;
        this->similar = similar;
        done = true;
    }

    bool done = false;
    Core::DuplicateGroups duplicates, similar;

private:
    void draw() {
        if (!_showProgress) return;
        constexpr int kWidth = 30;
        int filled = std::clamp(int(_value * kWidth + 0.5), 0, kWidth);
        std::string path = _path.size() > 60 ? "..." + _path.substr(_path.size() - 57) : _path;
        std::fprintf(stderr, "\r\033[K[%s%s] %3d%% %s", std::string(size_t(filled), '#').c_str(),
                     std::string(size_t(kWidth - filled), ' ').c_str(), int(_value * 100 + 0.5), path.c_str());
        std::fflush(stderr);
    }

    bool _showProgress;
    double _value = 0;
    std::string _path;
};

// An absolute path without a trailing slash, so that reported paths read well.
std::string normalRoot(const std::string& given) {
    std::string path = std::filesystem::absolute(given).lexically_normal().string();
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

}  // namespace

DupesResult searchDuplicates(const DupesOptions& options, bool showProgress) {
    std::vector<platform::URL> roots;
    for (const std::string& root : options.roots) {
        struct stat st {};
        if (::stat(root.c_str(), &st) != 0) throw CommandError("cannot read " + root + ": " + std::strerror(errno));
        if (!S_ISDIR(st.st_mode)) throw CommandError(root + " is not a folder", 2);
        roots.push_back(platform::URL::fileURL(normalRoot(root), true));
    }
    std::vector<platform::URL> excluded;
    for (const std::string& path : options.excludePaths) excluded.push_back(platform::URL::fileURL(normalRoot(path), true));
    std::vector<std::string> extensions;
    for (const std::string& extension : options.excludeExtensions)
        if (!extension.empty()) extensions.push_back(extension.front() == '.' ? extension : "." + extension);

    platform::dispatch::declareMainThread();
    auto finder = Core::DuplicateFileFinder::shared();
    auto delegate = std::make_shared<DupesDelegate>(showProgress);
    finder->delegate = delegate;
    finder->setRootFolderURLs(roots);
    finder->setExcludePaths(excluded);
    finder->setExcludeExtensions(extensions);
    finder->setIncludeHiddenFolders(options.hidden);
    finder->setMinFileSize(options.minSize);
    finder->start(options.onlyDuplicates);
    while (!delegate->done) platform::dispatch::runMainLoopUntil([&] { return delegate->done; }, std::chrono::hours(1));
    finder->delegate.reset();
    return {std::move(delegate->duplicates), std::move(delegate->similar)};
}

namespace {

// Members by path, groups by their first member, so that output is stable.
std::vector<std::vector<const Core::Duplicate*>> sorted(const Core::DuplicateGroups& groups) {
    std::vector<std::vector<const Core::Duplicate*>> out;
    for (const auto& group : groups) {
        if (group.empty()) continue;
        std::vector<const Core::Duplicate*> members;
        for (const auto& member : group) members.push_back(&member);
        std::sort(members.begin(), members.end(), [](const Core::Duplicate* a, const Core::Duplicate* b) {
            return a->file().url().path() < b->file().url().path();
        });
        out.push_back(std::move(members));
    }
    std::sort(out.begin(), out.end(),
              [](const auto& a, const auto& b) { return a.front()->file().url().path() < b.front()->file().url().path(); });
    return out;
}

nlohmann::json jsonGroups(const Core::DuplicateGroups& groups) {
    nlohmann::json out = nlohmann::json::array();
    for (const auto& group : sorted(groups)) {
        nlohmann::json members = nlohmann::json::array();
        for (const Core::Duplicate* member : group) {
            nlohmann::json item = {{"path", member->file().url().path()}, {"size", member->file().size()}};
            if (const Core::Photo* photo = member->photo()) item["photoID"] = photo->id;
            members.push_back(std::move(item));
        }
        out.push_back(std::move(members));
    }
    return out;
}

void printGroups(const char* title, const Core::DuplicateGroups& groups) {
    int number = 0;
    for (const auto& group : sorted(groups)) {
        std::printf("%s %d (%zu):\n", title, ++number, group.size());
        for (const Core::Duplicate* member : group) {
            std::string size = platform::formatByteCount(member->file().size());
            if (const Core::Photo* photo = member->photo())
                std::printf("  %10s  %s  [photo %s]\n", size.c_str(), member->file().url().path().c_str(),
                            photo->id.c_str());
            else
                std::printf("  %10s  %s\n", size.c_str(), member->file().url().path().c_str());
        }
    }
}

}  // namespace

long long reclaimableBytes(const Core::DuplicateGroups& duplicates) {
    long long total = 0;
    for (const auto& group : duplicates) {
        long long sum = 0, largest = 0;
        for (const auto& member : group) {
            sum += member.file().size();
            largest = std::max<long long>(largest, member.file().size());
        }
        total += sum - largest;
    }
    return total;
}

nlohmann::json dupesJson(const DupesResult& result) {
    return {{"duplicates", jsonGroups(result.duplicates)}, {"similar", jsonGroups(result.similar)}};
}

void printDupes(const DupesResult& result) {
    printGroups("Duplicates", result.duplicates);
    if (!result.similar.empty()) {
        std::printf("\n");
        printGroups("Similar pictures", result.similar);
    }
    long long bytes = reclaimableBytes(result.duplicates);
    std::printf("\n%zu duplicate groups, %zu similar groups; removing all but one of each duplicate group frees %s "
                "(%lld bytes)\n",
                result.duplicates.size(), result.similar.size(), platform::formatByteCount(bytes).c_str(), bytes);
}

namespace {

const CommandRegistration registration{
    {"dupes"}, "Find duplicate files, packages and folders, and similar pictures",
    [](CLI::App& cmd, Globals& globals) -> Action {
        auto options = std::make_shared<DupesOptions>();
        cmd.add_option("--min-size", options->minSize, "Leave out files smaller than N bytes")
            ->default_val(1)
            ->check(CLI::NonNegativeNumber);
        cmd.add_option("--exclude", options->excludePaths, "Leave out this folder (repeatable)");
        cmd.add_option("--exclude-ext", options->excludeExtensions, "Leave out files with this extension (repeatable)");
        cmd.add_flag("--hidden", options->hidden, "Also search hidden folders");
        cmd.add_flag("--only-duplicates", options->onlyDuplicates, "Skip the search for similar pictures");
        cmd.add_option("ROOT", options->roots, "Folders, or photo libraries (*.photoslibrary)")->required();
        return [options, &globals] {
            bool showProgress = !globals.json && !globals.quiet && ::isatty(STDERR_FILENO);
            DupesResult result = searchDuplicates(*options, showProgress);
            if (globals.json)
                printJson(dupesJson(result));
            else
                printDupes(result);
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
