#include "Core/helper/HelperService.h"

#include "Core/helper/internal/ShellRunner.h"
#include "Core/helper/internal/TreeRemover.h"
#include "disk/OMFolderExtractor.h"

namespace Core {

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
        tasks.swap(_tasks);
        deletionThread.swap(_deletionThread);
    }
    _changed.notify_all();
    if (deletionThread.joinable()) deletionThread.join();
    for (auto& task : tasks) task.join();
}

void HelperService::startTask(std::function<void()> work) {
    std::lock_guard lock(_mutex);
    if (_shuttingDown) return;
    _tasks.emplace_back(std::move(work));
}

void HelperService::test(std::function<void()> reply) {
    if (reply) reply();
}

void HelperService::deleteAtPaths(const std::vector<std::string>& paths, const std::vector<std::string>& withScripts) {
    {
        std::lock_guard lock(_mutex);
        if (_shuttingDown) return;
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
        }
        runDeletion(job);
    }
}

void HelperService::runDeletion(const DeletionJob& job) {
    auto proceed = [this, &job] { return mayProceed(job.sequence); };
    for (const auto& path : job.paths) {
        if (!proceed()) break;
        _client->helperDeletingAt(path);
        bool removed = internal::removeTree(path, job.shred, proceed);
        // A path cut short by stop gets no result; the run ends below.
        if (!removed && !proceed()) break;
        _client->helperDeletedAt(path, removed);
    }
    for (const auto& script : job.scripts) {
        if (!proceed()) break;
        internal::runShell(script, [this] { _client->helperLaunchedScript(); });
    }
    _client->helperDeletionCompleted();
}

void HelperService::getDirectorySizeAt(const std::string& path, std::function<void(int64_t size)> with) {
    auto stop = std::make_shared<std::atomic<bool>>(false);
    {
        std::lock_guard lock(_mutex);
        if (_shuttingDown) return;
        _sizeStops.insert(stop);
    }
    startTask([this, path, with = std::move(with), stop] {
        int32_t error = 0;
        int64_t size = GetDirectorySize(path.c_str(), stop.get(), &error);
        {
            std::lock_guard lock(_mutex);
            _sizeStops.erase(stop);
        }
        if (with) with(size);
    });
}

void HelperService::stopGettingSize() {
    std::lock_guard lock(_mutex);
    for (const auto& stop : _sizeStops) stop->store(true);
}

void HelperService::shredFile(const std::string& path, std::function<void(bool success)> with) {
    startTask([path, with = std::move(with)] {
        bool removed = internal::removeTree(path, true, [] { return true; });
        if (with) with(removed);
    });
}

void HelperService::changeMode(bool shred) {
    std::lock_guard lock(_mutex);
    _shredMode = shred;
}

void HelperService::runMaintenance(const std::string& command, std::function<void(bool success)> reply) {
    startTask([command, reply = std::move(reply)] {
        bool ok = !command.empty() && internal::runShell(command, nullptr);
        if (reply) reply(ok);
    });
}

void HelperService::reindexSpotlight(std::function<void(bool success)> reply) {
    runMaintenance(_options.reindexSpotlightCommand, std::move(reply));
}

void HelperService::clearDNSCache(std::function<void(bool success)> reply) {
    runMaintenance(_options.clearDNSCacheCommand, std::move(reply));
}

}  // namespace Core
