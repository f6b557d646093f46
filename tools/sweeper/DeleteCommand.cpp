// sweeper delete [--yes] [--trash] [--shred] [--purgeable] [--script TEXT]... PATH...:
// one delete run of Core::Deleter, driven as the application drives it: the
// paths with the user's rights, what fails for want of rights and every
// script through the helper tool, then purgeable space. A progress bar while
// it runs, then each path's outcome.
//
// Before anything is asked or deleted the paths are checked by what they
// name (lstat: device and file number), never by their text: "/", the home
// folder and every folder that holds it are refused, and the command ends
// with status 2 without deleting anything. A path is never resolved
// through a symbolic link at its end: a link is removed, not its target.
#include "Command.h"
#include "Output.h"
#include "ProgressBar.h"

#include "Core/deletion/Deleter.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace sweeper {
namespace {

struct DeleteOptions {
    bool yes = false;
    bool trash = false;
    bool shred = false;
    bool purgeable = false;
    std::vector<std::string> scripts;
    std::vector<std::string> paths;
};

using FileId = std::pair<dev_t, ino_t>;

FileId idOf(const struct stat& st) { return {st.st_dev, st.st_ino}; }

// What may never be deleted, by device and file number, with the reason.
class ProtectedFolders {
public:
    explicit ProtectedFolders(const std::vector<std::string>& homes) {
        struct stat st {};
        if (::stat("/", &st) == 0) _reasons.emplace(idOf(st), "it is the root folder");
        for (const auto& home : homes) addHome(home);
    }

    // Why `path` must not be deleted; nothing when it may be.
    std::optional<std::string> refusal(const std::string& path) const {
        struct stat st {};
        if (::lstat(path.c_str(), &st) != 0) return std::nullopt;
        auto found = _reasons.find(idOf(st));
        if (found == _reasons.end()) return std::nullopt;
        return found->second;
    }

private:
    void addHome(const std::string& home) {
        if (home.empty()) return;
        struct stat st {};
        // The home itself, through a link if it is one: that folder is what
        // must survive.
        if (::stat(home.c_str(), &st) == 0) _reasons.emplace(idOf(st), "it is the home folder");
        // Its holders by the file system: ".." up to the top, across mounts.
        int fd = ::open(home.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        while (fd >= 0) {
            int parent = ::openat(fd, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            ::close(fd);
            fd = parent;
            if (fd < 0 || ::fstat(fd, &st) != 0) break;
            if (!_reasons.emplace(idOf(st), "it holds the home folder").second && _holders.contains(idOf(st))) break;
            _holders.insert(idOf(st));
        }
        if (fd >= 0) ::close(fd);
        // And by the text of its path, for a home that can't be opened.
        std::string prefix = home.front() == '/' ? home : platform::joinPath(currentDirectory(), home);
        for (auto slash = prefix.find_last_of('/'); slash != std::string::npos && slash > 0;
             slash = prefix.find_last_of('/')) {
            prefix.resize(slash);
            if (::stat(prefix.c_str(), &st) == 0) _reasons.emplace(idOf(st), "it holds the home folder");
        }
    }

    static std::string currentDirectory() {
        char buffer[4096];
        return ::getcwd(buffer, sizeof buffer) != nullptr ? buffer : "/";
    }

    std::map<FileId, std::string> _reasons;
    std::set<FileId> _holders;
};

// The homes that are never deleted: the layout's (--home, else the
// user's) and, as a second guard, the account's own.
std::vector<std::string> protectedHomes() {
    std::vector<std::string> homes{platform::Layout::shared().home()};
    if (const passwd* pw = ::getpwuid(::getuid()); pw != nullptr && pw->pw_dir != nullptr) homes.emplace_back(pw->pw_dir);
    return homes;
}

// One path as the user gave it, and the text the run works on.
struct Target {
    std::string given;
    std::string work;   // `given` without trailing "/" and "/." parts
    int preError = 0;   // set when the path fails before the run, untouched
};

// A path that ends in "/" (or "/.") names what a link there points to; the
// run never goes through a link, so such a path is handed over without
// that ending, and fails untouched when what is left is a link.
Target prepare(const std::string& given) {
    Target target{given, given, 0};
    std::string& work = target.work;
    for (;;) {
        if (work.size() > 1 && work.back() == '/') {
            work.pop_back();
        } else if (work.size() > 2 && work.ends_with("/.")) {
            work.resize(work.size() - 2);
        } else {
            break;
        }
    }
    std::string last = work.substr(work.find_last_of('/') == std::string::npos ? 0 : work.find_last_of('/') + 1);
    if (work.empty()) {
        target.preError = ENOENT;
    } else if (last == "." || last == "..") {
        target.preError = EINVAL;
    } else if (work != given) {
        struct stat st {};
        if (::lstat(work.c_str(), &st) == 0 && S_ISLNK(st.st_mode)) target.preError = ELOOP;
    }
    return target;
}

// Reads the answer from standard input; an empty line or the end of the
// input is a no.
bool confirmed(const DeleteOptions& o) {
    const char* how = o.trash ? "Move to the trash" : o.shred ? "Shred and delete" : "Delete for good";
    std::fprintf(stderr, "%s:\n", how);
    for (const auto& path : o.paths) std::fprintf(stderr, "  %s\n", path.c_str());
    for (const auto& script : o.scripts) std::fprintf(stderr, "  script: %s\n", script.c_str());
    if (o.purgeable) std::fprintf(stderr, "  the purgeable space\n");
    std::fprintf(stderr, "Go ahead? [y/N] ");
    std::fflush(stderr);
    char line[64];
    if (std::fgets(line, sizeof line, stdin) == nullptr) return false;
    std::string answer;
    for (const char* c = line; *c != '\0'; ++c)
        if (!std::isspace(static_cast<unsigned char>(*c))) answer += char(std::tolower(static_cast<unsigned char>(*c)));
    return answer == "y" || answer == "yes";
}

// Collects what the run reports, in order, and draws the progress.
class DeleteHost final : public Core::DeleterDelegate {
public:
    struct Report {
        std::string path;
        bool deleted;
        int32_t error;
    };

    explicit DeleteHost(bool showProgress) : _showProgress(showProgress) {}

    void deleterCurrent(const std::string& path) override {
        _path = path;
        draw();
    }
    void deleterProgress(double fraction) override {
        // A script's end is the one report that comes without an item.
        if (!_itemReported) ++scriptsRun;
        _itemReported = false;
        _fraction = fraction;
        draw();
    }
    void deleterDeleted(const std::string& path, const std::optional<std::string>& message) override {
        _itemReported = true;
        // "/" is never a path of the run (it is refused): this is the
        // purgeable step.
        if (path == "/") {
            purgeableDone = true;
            purgeableMessage = message;
            return;
        }
        reports.push_back({path, true, 0});
    }
    void deleterFailed(const std::string& path, int32_t error) override {
        _itemReported = true;
        reports.push_back({path, false, error});
    }
    void deleterAskPhotoRetry(bool, std::function<void(bool)> reply) override { reply(false); }
    void deleterCompleted() override {
        if (_showProgress) clearProgress();
        completed = true;
    }

    std::vector<Report> reports;
    int scriptsRun = 0;
    bool purgeableDone = false;
    std::optional<std::string> purgeableMessage;
    bool completed = false;

private:
    void draw() {
        if (_showProgress) drawProgress(_fraction, _path);
    }

    bool _showProgress;
    bool _itemReported = false;
    double _fraction = 0;
    std::string _path;
};

struct Outcome {
    std::vector<std::string> deleted;
    std::vector<std::pair<std::string, int32_t>> failed;
};

// Each path as given, at most once, in the order of the reports. A path
// still in place is never listed as deleted; one the run never reported
// (the helper tool couldn't take it) is failed with error 0. Paths that
// fail before the run come first.
Outcome gather(const std::vector<Target>& targets, const std::vector<DeleteHost::Report>& reports) {
    Outcome outcome;
    std::set<std::string> listed;
    auto fail = [&](const std::string& given, int32_t error) {
        if (listed.insert(given).second) outcome.failed.emplace_back(given, error);
    };
    for (const auto& target : targets)
        if (target.preError != 0) fail(target.given, target.preError);
    for (const auto& report : reports) {
        bool given = false;
        for (const auto& target : targets) {
            if (target.preError != 0 || target.work != report.path) continue;
            given = true;
            struct stat st {};
            bool inPlace = ::lstat(target.work.c_str(), &st) == 0;
            if (report.deleted && !inPlace) {
                if (listed.insert(target.given).second) outcome.deleted.push_back(target.given);
            } else {
                fail(target.given, report.deleted ? 0 : report.error);
            }
        }
        // A failure of something that was no path, such as a script the
        // helper tool refused, is listed as reported.
        if (!given && !report.deleted) fail(report.path, report.error);
    }
    for (const auto& target : targets) fail(target.given, 0);
    return outcome;
}

int runDelete(const Globals& g, DeleteOptions o) {
    if (o.paths.empty() && o.scripts.empty() && !o.purgeable)
        throw CommandError("give paths, --script or --purgeable", 2);

    ProtectedFolders guard(protectedHomes());
    for (const auto& path : o.paths) {
        if (auto reason = guard.refusal(path)) {
            throw CommandError("refusing to delete " + path + ": " + *reason + "; nothing was deleted", 2);
        }
    }
    if (!o.yes && !confirmed(o)) {
        std::fprintf(stderr, "nothing was deleted\n");
        return 1;
    }

    std::vector<Target> targets;
    std::vector<std::string> files;
    std::set<std::string> handed;
    for (const auto& path : o.paths) {
        Target target = prepare(path);
        if (target.preError == 0 && handed.insert(target.work).second) files.push_back(target.work);
        targets.push_back(std::move(target));
    }

    platform::dispatch::declareMainThread();
    auto host = std::make_shared<DeleteHost>(!g.json && !g.quiet && ::isatty(STDERR_FILENO));
    auto deleter = Core::Deleter::create(files, {}, std::nullopt, o.scripts, o.purgeable);
    deleter->setDelegate(host);
    deleter->setIsMoveToTrash(o.trash);
    deleter->setIsShredder(o.shred);
    deleter->start();
    while (!host->completed)
        platform::dispatch::runMainLoopUntil([&] { return host->completed; }, std::chrono::hours(1));

    Outcome outcome = gather(targets, host->reports);
    bool helperError = deleter->helperActionError();
    bool scriptsMissing = host->scriptsRun < int(o.scripts.size());
    if (g.json) {
        nlohmann::ordered_json failed = nlohmann::ordered_json::array();
        for (const auto& [path, error] : outcome.failed) failed.push_back({{"path", path}, {"error", error}});
        printOrderedJson({{"deleted", outcome.deleted},
                          {"failed", failed},
                          {"scriptsRun", host->scriptsRun},
                          {"helperActionError", helperError}});
    } else {
        for (const auto& path : outcome.deleted) std::printf("deleted\t%s\n", path.c_str());
        for (const auto& [path, error] : outcome.failed) {
            std::printf("failed\t%s\t%s\n", path.c_str(),
                        error != 0 ? std::strerror(error) : "no outcome was reported");
        }
        if (!o.scripts.empty()) std::printf("scripts run\t%d of %zu\n", host->scriptsRun, o.scripts.size());
        if (o.purgeable) {
            std::printf("purgeable space\t%s\n",
                        host->purgeableMessage ? host->purgeableMessage->c_str()
                                               : host->purgeableDone ? "cleaned" : "not cleaned");
        }
        if (helperError) std::printf("the helper tool failed during the run\n");
    }
    return outcome.failed.empty() && !helperError && !scriptsMissing ? 0 : 1;
}

const CommandRegistration registration{
    {"delete"}, "Delete paths, run uninstall scripts through the helper tool, free purgeable space",
    [](CLI::App& cmd, Globals& globals) -> Action {
        auto options = std::make_shared<DeleteOptions>();
        cmd.add_flag("--yes,-y", options->yes, "Don't ask first");
        auto* trash = cmd.add_flag("--trash", options->trash, "Move to the trash of the home folder instead");
        cmd.add_flag("--shred", options->shred, "Overwrite files' data before removing them")->excludes(trash);
        cmd.add_flag("--purgeable", options->purgeable, "Also free the system's purgeable space");
        cmd.add_option("--script", options->scripts, "A script for the helper tool to run (repeatable)")
            ->allow_extra_args(false);
        cmd.add_option("PATH", options->paths, "What to delete");
        return [options, &globals] { return runDelete(globals, *options); };
    }};

}  // namespace
}  // namespace sweeper
