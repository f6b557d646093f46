#include "Core/deletion/OMFileDeleter.h"

#include "Core/deletion/FileTools.h"
#include "platform/Clock.h"
#include "platform/Trash.h"

#include <fcntl.h>
#include <fts.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

namespace Core {

namespace {

// Compared in the clock's own ticks: in seconds as doubles, 30 ms after a
// large clock value could come out a hair above 0.03.
constexpr auto kReportInterval = std::chrono::milliseconds(30);

bool hasAppExtension(const char* path, size_t length) {
    static constexpr char kSuffix[] = ".app";
    constexpr size_t suffixLength = sizeof kSuffix - 1;
    if (length <= suffixLength || std::char_traits<char>::compare(path + length - suffixLength, kSuffix, suffixLength) != 0)
        return false;
    // ".app" alone is a hidden name, not an extension.
    return path[length - suffixLength - 1] != '/';
}

// Starts "/bin/sh -c script" and reaps it in the background: the deleter
// doesn't wait for a script to end. The script gets none of the host's
// descriptors: what it prints must not land in the host's output, and a
// script that outlives the run must not hold the host's pipes open.
void launchScript(const std::string& script) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    const char* argv[] = {"/bin/sh", "-c", script.c_str(), nullptr};
    pid_t pid = -1;
    int error = ::posix_spawn(&pid, "/bin/sh", &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) return;
    platform::dispatch::globalQueue()->async([pid] {
        platform::dispatch::ScopedBlockingCall blocking;
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
    });
}

}  // namespace

std::shared_ptr<OMFileDeleter> OMFileDeleter::create(std::vector<std::string> paths, std::vector<std::string> scripts) {
    return std::shared_ptr<OMFileDeleter>(new OMFileDeleter(std::move(paths), std::move(scripts)));
}

OMFileDeleter::OMFileDeleter(std::vector<std::string> paths, std::vector<std::string> scripts)
    : _paths(std::move(paths)),
      _scripts(std::move(scripts)),
      _dispatchQueue(platform::dispatch::makeSerialQueue("-[OMFileDeleter initWithPaths:withScripts:]")) {}

void OMFileDeleter::start() {
    int expected = idle;
    if (!_state.compare_exchange_strong(expected, running)) return;
    _dispatchQueue->async([self = shared_from_this()] { self->deleteFiles(); });
}

void OMFileDeleter::pause() {
    int expected = running;
    _state.compare_exchange_strong(expected, idle);
}

void OMFileDeleter::stop() {
    int current = _state.load();
    while (current < stopped) {
        if (_state.compare_exchange_weak(current, stopped)) {
            _dispatchQueue->async([self = shared_from_this()] { self->completed(); });
            return;
        }
    }
}

void OMFileDeleter::completed() {
    if (_state.exchange(done) == done) return;
    if (auto delegate = _delegate.lock()) delegate->fileDeleterCompleted();
}

void OMFileDeleter::deleteFiles() {
    platform::dispatch::ScopedBlockingCall blocking;
    while (!_paths.empty() && _state.load() == running) {
        const std::string path = _paths.back();
        Result result = deleteAt(path);
        if (result == interrupted) return;
        int error = result == deleted ? 0 : errno;
        if (auto delegate = _delegate.lock()) delegate->fileDeleterDeleted(path, error);
        _paths.pop_back();
    }
    if (_state.load() != running) return;
    for (const auto& script : _scripts) {
        if (_state.load() != running) return;
        launchScript(script);
        if (auto delegate = _delegate.lock()) delegate->scriptDeleted();
    }
    completed();
}

void OMFileDeleter::updateCurrentPath(const std::string& path) {
    auto now = platform::clock().now();
    if (now - _time <= kReportInterval) return;
    _time = now;
    if (auto delegate = _delegate.lock()) delegate->fileDeleterCurrent(path);
}

bool OMFileDeleter::removeFile(const std::string& path) {
    return _isShredder ? ShredFile(path) : ::unlink(path.c_str()) == 0;
}

OMFileDeleter::Result OMFileDeleter::deleteAt(const std::string& path) {
    updateCurrentPath(path);
    if (_isMoveToTrash) {
        int error = platform::moveToTrash(path);
        errno = error;
        return error == 0 ? deleted : failed;
    }
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return errno == ENOENT ? deleted : failed;
    if (S_ISDIR(st.st_mode)) return deleteDirectoryAt(path);
    return removeFile(path) ? deleted : failed;
}

OMFileDeleter::Result OMFileDeleter::deleteDirectoryAt(const std::string& path) {
    char* roots[] = {const_cast<char*>(path.c_str()), nullptr};
    FTS* tree = ::fts_open(roots, FTS_NOCHDIR | FTS_NOSTAT | FTS_PHYSICAL, nullptr);
    if (tree == nullptr) return failed;
    // Closing the walk must not change the errno that the caller reports.
    auto close = [tree](Result result) {
        int saved = errno;
        ::fts_close(tree);
        errno = saved;
        return result;
    };
    errno = 0;
    while (FTSENT* entry = ::fts_read(tree)) {
        if (_state.load() != running) return close(interrupted);
        std::string entryPath(entry->fts_path, entry->fts_pathlen);
        if (hasAppExtension(entry->fts_path, entry->fts_pathlen)) {
            // A bundle goes whole at its first visit; later visits of the
            // same path find nothing left to remove.
            updateCurrentPath(entryPath);
            if (!DeleteFolder(entryPath)) return close(failed);
            continue;
        }
        switch (entry->fts_info) {
        case FTS_D:
            UnlockFolder(entryPath);
            break;
        case FTS_DP:
            updateCurrentPath(entryPath);
            if (::rmdir(entry->fts_accpath) != 0) return close(failed);
            break;
        case FTS_NSOK:
            updateCurrentPath(entryPath);
            if (!removeFile(entryPath)) return close(failed);
            break;
        case FTS_DNR:
        case FTS_ERR:
            errno = entry->fts_errno;
            return close(failed);
        default:
            break;
        }
        errno = 0;
    }
    // fts_read ends with errno 0; anything else is a failed walk.
    return close(errno == 0 ? deleted : failed);
}

}  // namespace Core
