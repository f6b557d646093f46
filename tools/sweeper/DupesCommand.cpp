// sweeper dupes ROOT...: duplicate files, packages and folders, and similar
// pictures, found by Core::DuplicateFileFinder through its delegate and the
// main loop.
#include "Command.h"
#include "DupesReport.h"
#include "Output.h"
#include "ProgressBar.h"

#include "dff/api/DuplicateFileFinder.h"
#include "platform/ByteCountFormatter.h"
#include "platform/Dispatch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace sweeper {

namespace {

// Draws a progress bar with the current path on a terminal, and hands the
// groups on when they come. The groups are the finder's own, so handing
// them on instead of copying them keeps a second copy out of peak memory.
class DupesDelegate : public Core::DuplicateFileFinderDelegate {
public:
    DupesDelegate(bool showProgress, const DupesHandler& handler) : _showProgress(showProgress), _handler(handler) {}

    void current(const platform::URL& url) override {
        _path = url.path();
        draw();
    }
    void progress(double value) override {
        _value = value;
        draw();
    }
    void completion(const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar) override {
        if (_showProgress) clearProgress();
        // Thrown out of the main loop's task it would be lost; the caller
        // rethrows it.
        try {
            _handler(duplicates, similar);
        } catch (...) {
            error = std::current_exception();
        }
        done = true;
    }

    bool done = false;
    std::exception_ptr error;

private:
    void draw() {
        if (_showProgress) drawProgress(_value, _path);
    }

    bool _showProgress;
    const DupesHandler& _handler;
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

void searchDuplicates(const DupesOptions& options, bool showProgress, const DupesHandler& handler) {
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
    auto delegate = std::make_shared<DupesDelegate>(showProgress, handler);
    finder->delegate = delegate;
    finder->setRootFolderURLs(roots);
    finder->setExcludePaths(excluded);
    finder->setExcludeExtensions(extensions);
    finder->setIncludeHiddenFolders(options.hidden);
    finder->setMinFileSize(options.minSize);
    finder->setThreads(options.threads);
    finder->start(options.onlyDuplicates);
    while (!delegate->done) platform::dispatch::runMainLoopUntil([&] { return delegate->done; }, std::chrono::hours(1));
    finder->delegate.reset();
    if (delegate->error) std::rethrow_exception(delegate->error);
}

DupesResult searchDuplicates(const DupesOptions& options, bool showProgress) {
    DupesResult result;
    searchDuplicates(options, showProgress,
                     [&](const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar) {
                         result = {duplicates, similar};
                     });
    return result;
}

namespace {

const std::string& pathOf(const Core::Duplicate& member) { return member.file().url().path(); }

// Calls `visit` with the members of each group sorted by path, groups in the
// order of their first members; empty groups are left out. Only pointers
// are sorted, and the comparisons read the paths in place.
template <class Visit>
void forEachSorted(const Core::DuplicateGroups& groups, Visit visit) {
    struct Entry {
        const std::string* first;
        const std::vector<Core::Duplicate>* group;
    };
    std::vector<Entry> order;
    order.reserve(groups.size());
    for (const auto& group : groups) {
        if (group.empty()) continue;
        const std::string* first = &pathOf(group.front());
        for (const auto& member : group)
            if (pathOf(member) < *first) first = &pathOf(member);
        order.push_back({first, &group});
    }
    std::sort(order.begin(), order.end(), [](const Entry& a, const Entry& b) { return *a.first < *b.first; });
    std::vector<const Core::Duplicate*> members;
    for (const Entry& entry : order) {
        members.clear();
        for (const auto& member : *entry.group) members.push_back(&member);
        std::sort(members.begin(), members.end(),
                  [](const Core::Duplicate* a, const Core::Duplicate* b) { return pathOf(*a) < pathOf(*b); });
        visit(members);
    }
}

// The groups as printJson would lay out the array at the second level: keys
// in its (sorted) order, two spaces a level, "[]" when empty.
void writeJsonGroups(std::FILE* out, const Core::DuplicateGroups& groups) {
    bool anyGroup = false;
    forEachSorted(groups, [&](const std::vector<const Core::Duplicate*>& group) {
        std::fputs(anyGroup ? ",\n    [" : "[\n    [", out);
        anyGroup = true;
        bool anyMember = false;
        for (const Core::Duplicate* member : group) {
            std::fputs(anyMember ? ",\n      {\n        \"path\": " : "\n      {\n        \"path\": ", out);
            anyMember = true;
            std::fputs(jsonString(pathOf(*member)).c_str(), out);
            if (const Core::Photo* photo = member->photo())
                std::fprintf(out, ",\n        \"photoID\": %s", jsonString(photo->id).c_str());
            std::fprintf(out, ",\n        \"size\": %lld\n      }", static_cast<long long>(member->file().size()));
        }
        std::fputs("\n    ]", out);
    });
    std::fputs(anyGroup ? "\n  ]" : "[]", out);
}

// A full disk or a closed pipe must not pass for a complete report.
void checkWritten(std::FILE* out) {
    if (std::fflush(out) != 0 || std::ferror(out))
        throw CommandError(std::string("cannot write the output: ") + std::strerror(errno));
}

void printGroups(const char* title, const Core::DuplicateGroups& groups) {
    int number = 0;
    forEachSorted(groups, [&](const std::vector<const Core::Duplicate*>& group) {
        std::printf("%s %d (%zu):\n", title, ++number, group.size());
        for (const Core::Duplicate* member : group) {
            std::string size = platform::formatByteCount(member->file().size());
            if (const Core::Photo* photo = member->photo())
                std::printf("  %10s  %s  [photo %s]\n", size.c_str(), pathOf(*member).c_str(), photo->id.c_str());
            else
                std::printf("  %10s  %s\n", size.c_str(), pathOf(*member).c_str());
        }
    });
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

void writeDupesJson(std::FILE* out, const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar) {
    std::fputs("{\n  \"duplicates\": ", out);
    writeJsonGroups(out, duplicates);
    std::fputs(",\n  \"similar\": ", out);
    writeJsonGroups(out, similar);
    std::fputs("\n}\n", out);
    checkWritten(out);
}

// The same document as a value, from the one writer of its layout; only
// small results (the demo's) are wanted this way.
nlohmann::json dupesJson(const DupesResult& result) {
    char* text = nullptr;
    size_t size = 0;
    std::FILE* memory = ::open_memstream(&text, &size);
    if (memory == nullptr) throw CommandError(std::string("cannot make the output: ") + std::strerror(errno));
    try {
        writeDupesJson(memory, result.duplicates, result.similar);
    } catch (...) {
        std::fclose(memory);
        std::free(text);
        throw;
    }
    std::fclose(memory);
    nlohmann::json document = nlohmann::json::parse(text, text + size);
    std::free(text);
    return document;
}

void printDupes(const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar) {
    printGroups("Duplicates", duplicates);
    if (!similar.empty()) {
        std::printf("\n");
        printGroups("Similar pictures", similar);
    }
    long long bytes = reclaimableBytes(duplicates);
    std::printf("\n%zu duplicate groups, %zu similar groups; removing all but one of each duplicate group frees %s "
                "(%lld bytes)\n",
                duplicates.size(), similar.size(), platform::formatByteCount(bytes).c_str(), bytes);
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
        cmd.add_option("--threads", options->threads, "Read and decode on at most N threads (0: one per processor)")
            ->default_val(0)
            ->check(CLI::NonNegativeNumber);
        cmd.add_option("ROOT", options->roots, "Folders, or photo libraries (*.photoslibrary)")->required();
        return [options, &globals] {
            bool showProgress = !globals.json && !globals.quiet && ::isatty(STDERR_FILENO);
            searchDuplicates(*options, showProgress,
                             [&](const Core::DuplicateGroups& duplicates, const Core::DuplicateGroups& similar) {
                                 if (globals.json)
                                     writeDupesJson(stdout, duplicates, similar);
                                 else
                                     printDupes(duplicates, similar);
                                 checkWritten(stdout);
                             });
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
