#include "Core/helper/HelperService.h"

#include "Core/apps/UninstallScriptsManager.h"
#include "Core/helper/internal/ChildProcess.h"
#include "Core/helper/internal/TreeRemover.h"
#include "disk/OMFolderExtractor.h"
#include "platform/Analytics.h"

#include <sys/stat.h>

#include <algorithm>

namespace Core {

namespace {

// The script texts of the document, read anew for each deletion so that an
// update of the resources takes effect; none when the document isn't root's
// alone.
std::set<std::string> knownScripts(const std::string& document) {
    std::set<std::string> texts;
    struct stat st {};
    if (document.empty() || ::lstat(document.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != 0 ||
        (st.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return texts;
    auto table = UninstallScriptsManager::fromEncipheredFile(document);
    for (const auto& [id, entry] : table.uninstallScripts())
        if (entry.scriptString) texts.insert(*entry.scriptString);
    return texts;
}

}  // namespace

HelperService::HelperService(std::shared_ptr<OMHelperDelegate> client, HelperServiceOptions options)
    : _client(std::move(client)), _options(std::move(options)) {}

HelperService::~HelperService() { shutdown(); }

void HelperService::shutdown() {
    std::vector<std::thread> tasks;
    std::thread deletionThread;
    {
        std::lock_guard lock(_mutex);
        _shuttingDown = true;
        _stoppedThrough = _lastSequence;
        for (const auto& stop : _sizeStops) stop->store(true);
        for (const auto& child : _children) child.second->terminate();
        tasks.swap(_tasks);
        deletionThread.swap(_deletionThread);
    }
    _changed.notify_all();
    if (deletionThread.joinable()) deletionThread.join();
    for (auto& task : tasks) task.join();
}

bool HelperService::busy() {
    std::lock_guard lock(_mutex);
    return _deleting || !_jobs.empty() || _runningTasks > 0;
}

bool HelperService::startTask(std::function<void()> work) {
    std::vector<std::thread> finished;
    {
        std::lock_guard lock(_mutex);
        if (_shuttingDown || _runningTasks >= _options.maxTasks) return false;
        // The threads of tasks that ended are joined here, so a long
        // connection doesn't gather them.
        auto ended = std::partition(_tasks.begin(), _tasks.end(), [this](const std::thread& task) {
            return _endedTasks.count(task.get_id()) == 0;
        });
        for (auto it = ended; it != _tasks.end(); ++it) {
            _endedTasks.erase(it->get_id());
            finished.push_back(std::move(*it));
        }
        _tasks.erase(ended, _tasks.end());
        ++_runningTasks;
        _tasks.emplace_back([this, work = std::move(work)] {
            // A thread that throws would end the tool, and every other client.
            try {
                work();
            } catch (const std::exception& error) {
                platform::log(std::string("helper: a task failed: ") + error.what());
            }
            std::lock_guard done(_mutex);
            --_runningTasks;
            _endedTasks.insert(std::this_thread::get_id());
        });
    }
    for (auto& task : finished) task.join();
    return true;
}

void HelperService::test(std::function<void()> reply) {
    if (reply) reply();
}

void HelperService::deleteAtPaths(const std::vector<std::string>& paths, const std::vector<std::string>& withScripts) {
    {
        std::lock_guard lock(_mutex);
        if (_shuttingDown) return;
        if (_jobs.size() >= _options.maxQueuedDeletions ||
            paths.size() + withScripts.size() > _options.maxEntriesPerDeletion) {
            platform::log("helper: refused a deletion beyond what one client may ask for");
            _client->helperDeletionCompleted();
            return;
        }
        _jobs.push_back({++_lastSequence, paths, withScripts, _shredMode});
        if (!_deletionThread.joinable()) _deletionThread = std::thread([this] { deletionLoop(); });
    }
    _changed.notify_all();
}

void HelperService::pauseDeleting() {
    std::lock_guard lock(_mutex);
    _paused = true;
}

void HelperService::resumeDeleting() {
    {
        std::lock_guard lock(_mutex);
        _paused = false;
    }
    _changed.notify_all();
}

void HelperService::stopDeleting() {
    {
        std::lock_guard lock(_mutex);
        _stoppedThrough = _lastSequence;
        for (const auto& [sequence, child] : _children)
            if (sequence != 0 && sequence <= _stoppedThrough) child->terminate();
    }
    _changed.notify_all();
}

bool HelperService::mayProceed(uint64_t sequence) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] { return !_paused || sequence <= _stoppedThrough; });
    return sequence > _stoppedThrough;
}

void HelperService::deletionLoop() {
    for (;;) {
        DeletionJob job;
        {
            std::unique_lock lock(_mutex);
            _changed.wait(lock, [&] { return !_jobs.empty() || _shuttingDown; });
            if (_jobs.empty()) return;
            job = std::move(_jobs.front());
            _jobs.pop_front();
            _deleting = true;
        }
        try {
            runDeletion(job);
        } catch (const std::exception& error) {
            platform::log(std::string("helper: a deletion failed: ") + error.what());
        }
        {
            std::lock_guard lock(_mutex);
            _deleting = false;
        }
        // Last, and once the work is over: a client that has its completion
        // sees the service idle.
        _client->helperDeletionCompleted();
    }
}

void HelperService::runDeletion(const DeletionJob& job) {
    auto proceed = [this, &job] { return mayProceed(job.sequence); };
    for (const auto& path : job.paths) {
        if (!proceed()) break;
        _client->helperDeletingAt(path);
        bool removed = !isProtected(path) && internal::removeTree(path, job.shred, proceed);
        // A path cut short by stop gets no result; the run ends below.
        if (!removed && !proceed()) break;
        _client->helperDeletedAt(path, removed);
    }
    auto known = job.scripts.empty() ? std::set<std::string>() : knownScripts(_options.scriptsDocument);
    for (const auto& script : job.scripts) {
        if (!proceed()) break;
        if (known.count(script) == 0) {
            platform::log("helper: refused a script that is not in the scripts document");
            continue;
        }
        runChild(script, job.sequence, [this] { _client->helperLaunchedScript(); });
    }
}

void HelperService::getDirectorySizeAt(const std::string& path, std::function<void(int64_t size)> with) {
    auto stop = std::make_shared<std::atomic<bool>>(false);
    {
        std::lock_guard lock(_mutex);
        if (_shuttingDown) return;
        _sizeStops.insert(stop);
    }
    auto forget = [this, stop] {
        std::lock_guard lock(_mutex);
        _sizeStops.erase(stop);
    };
    bool started = startTask([path, with, stop, forget] {
        int32_t error = 0;
        int64_t size = GetDirectorySize(path.c_str(), stop.get(), &error);
        forget();
        if (with) with(size);
    });
    if (!started) {
        forget();
        if (with) with(0);  // as for a path that can't be read
    }
}

void HelperService::stopGettingSize() {
    std::lock_guard lock(_mutex);
    for (const auto& stop : _sizeStops) stop->store(true);
}

void HelperService::shredFile(const std::string& path, std::function<void(bool success)> with) {
    if (!startTask([this, path, with] {
            bool removed = !isProtected(path) && internal::removeTree(path, true, [] { return true; });
            if (with) with(removed);
        }) && with)
        with(false);
}

void HelperService::changeMode(bool shred) {
    std::lock_guard lock(_mutex);
    _shredMode = shred;
}

bool HelperService::isProtected(const std::string& path) const {
    struct stat target {};
    if (::lstat(path.c_str(), &target) != 0) return false;
    for (const auto& folder : _options.protectedFolders) {
        struct stat kept {};
        if (::stat(folder.c_str(), &kept) == 0 && kept.st_dev == target.st_dev && kept.st_ino == target.st_ino)
            return true;
    }
    return false;
}

bool HelperService::runChild(const std::string& commandLine, uint64_t sequence,
                             const std::function<void()>& launched) {
    auto child = internal::ChildProcess::start({"/bin/sh", "-c", commandLine});
    if (launched) launched();
    if (!child) return false;
    auto entry = std::make_pair(sequence, child);
    {
        std::lock_guard lock(_mutex);
        // A stop that came while it was starting found nothing to end.
        if (_shuttingDown || (sequence != 0 && sequence <= _stoppedThrough)) child->terminate();
        _children.insert(entry);
    }
    bool ok = child->wait(platform::deadlineAfter(platform::clock().now(), _options.childTimeLimit));
    std::lock_guard lock(_mutex);
    _children.erase(entry);
    return ok;
}

void HelperService::runMaintenance(const std::string& command, std::function<void(bool success)> reply) {
    if (!startTask([this, command, reply] {
            bool ok = !command.empty() && runChild(command, 0, nullptr);
            if (reply) reply(ok);
        }) && reply)
        reply(false);
}

void HelperService::reindexSpotlight(std::function<void(bool success)> reply) {
    runMaintenance(_options.reindexSpotlightCommand, std::move(reply));
}

void HelperService::clearDNSCache(std::function<void(bool success)> reply) {
    runMaintenance(_options.clearDNSCacheCommand, std::move(reply));
}

}  // namespace Core
