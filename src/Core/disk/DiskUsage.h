#pragma once
// DiskUsage: the disk usage scanner behind DiskUsageProvider (see there for
// what it does and its threading). Hosts use getDiskUsageProvider(); tests
// reach the hooks below.
//
//   auto scan = std::make_shared<Core::DiskUsage>();
//   scan->setTimeoutIntervalForTesting(0.01);
//   scan->start(root);

#include "Core/disk/DiskUsageProvider.h"
#include "platform/Dispatch.h"
#include "platform/MetadataIndex.h"
#include "platform/OperationQueue.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <unordered_map>

namespace Core {

class DiskTraverseOperation;

class DiskUsage : public DiskUsageProvider, public std::enable_shared_from_this<DiskUsage> {
public:
    static constexpr double kTimeoutInterval = 600.0;
    static constexpr double kProgressInterval = 1.0;

    DiskUsage() = default;
    ~DiskUsage() override;

    const FileFound& onFileFound() const override { return _onFileFound; }
    void setOnFileFound(FileFound block) override { _onFileFound = std::move(block); }
    const ProgressBlock& onProgress() const override { return _onProgress; }
    void setOnProgress(ProgressBlock block) override { _onProgress = std::move(block); }
    const Completion& onCompletion() const override { return _onCompletion; }
    void setOnCompletion(Completion block) override { _onCompletion = std::move(block); }
    void start(const std::string& path) override;
    bool isStopped() const override { return _currentState.load() == DiskUsageState::stoped; }
    void stop() override;
    bool isStarted() const override { return _currentState.load() == DiskUsageState::started; }
    const Timeout& onDUScanningTimeout() const override { return _onDUScanningTimeout; }
    void setOnDUScanningTimeout(Timeout block) override { _onDUScanningTimeout = std::move(block); }
    SystemStorageUsageData systemStorageUsage() const override;

    DiskUsageState currentState() const { return _currentState.load(); }

    // The walk's time limit instead of 600 seconds; set before start().
    void setTimeoutIntervalForTesting(double seconds) { _timeoutInterval = seconds; }
    // Called with each folder's path as its listing starts, on the worker.
    void setTraverseHookForTesting(std::function<void(const std::string&)> hook) { _traverseHook = std::move(hook); }
    // Called on the walk's thread as the walk ends, also after stop().
    void setWalkEndedHookForTesting(std::function<void()> hook) { _walkEndedHook = std::move(hook); }

    // Timer and notification targets, public as on the platform.
    void timeoutCancelOperation();
    void updateWalkProgress();
    void didFinishMetadataQueryGathering(std::vector<std::pair<std::string, int64_t>> results);

private:
    void startQuery();
    void walk();
    // `path` is the node's, made once by the caller: a node rebuilds it from
    // its ancestors' names each time it is asked.
    void addTraversal(DiskFileTreeNode* node, std::string path);
    void foldersFound(DiskFileTreeNode* parent, DiskFileTreeNode::Children folders);
    // The package size the index gives for the folder at `path`, if any.
    std::optional<int64_t> knownPackageSize(const std::string& path, const std::string& name) const;
    void startProgressTimer();
    void invalidateProgressTimer();
    void finish(std::shared_ptr<DiskFileTreeNode> node);
    void postProgress(int percent);
    std::string rootPath() const;

    std::shared_ptr<platform::OperationQueue> _fileTraverseQueue;  // guarded by _mutex
    std::shared_ptr<platform::OperationQueue> _metadataQueryQueue;  // guarded by _mutex
    std::string _rootPath;                                          // guarded by _mutex
    // Complete before the walk starts, only read during it.
    std::unordered_map<std::string, int64_t> _mdQueryResults;
    // Set instead when the index sizes packages one by one as the walk
    // meets them; same lifetime as the answer above.
    std::shared_ptr<platform::MetadataIndex> _packageSizer;
    std::atomic<DiskUsageState> _currentState{DiskUsageState::ready};
    std::shared_ptr<DiskFileTreeNode> _rootNode;
    FileFound _onFileFound;
    ProgressBlock _onProgress;
    Completion _onCompletion;
    Timeout _onDUScanningTimeout;
    std::atomic<uint64_t> _progressTimerGeneration{0};
    std::atomic<int> _previousProgress{0};
    std::atomic<bool> _isTimeout{false};
    platform::dispatch::WorkItemPtr _timeoutTimer;  // guarded by _mutex

    // The operations queued and not yet finished, with the order they were
    // queued in, for the timeout's report.
    std::unordered_map<const platform::Operation*, uint64_t> _operations;  // guarded by _mutex
    uint64_t _operationsQueued = 0;                                        // guarded by _mutex
    std::string _ignoredPath;
    double _timeoutInterval = kTimeoutInterval;
    std::function<void(const std::string&)> _traverseHook;
    std::function<void()> _walkEndedHook;
    mutable std::mutex _mutex;
};

}  // namespace Core
