#include "Core/disk/DiskUsage.h"

#include "Core/disk/DiskTraverseOperation.h"
#include "disk/OMFolderExtractor.h"
#include "platform/FileTypes.h"
#include "platform/Layout.h"
#include "platform/MetadataIndex.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <random>
#include <system_error>
#include <thread>

namespace Core {

namespace {

using platform::dispatch::globalQueue;
using platform::dispatch::mainQueue;

int randomBetween(int low, int high) {
    thread_local std::minstd_rand engine{std::random_device{}()};
    return std::uniform_int_distribution<int>(low, high)(engine);
}

bool isTrash(const std::string& path) {
    const auto& layout = platform::Layout::shared();
    std::string trimmed = platform::trimTrailingSlashes(path);
    if (trimmed == layout.trashDirectory()) return true;
    for (const auto& folder : layout.trashFolders())
        if (trimmed == folder) return true;
    return false;
}

// Whether a folder's name ends in a package extension.
bool hasPackageExtension(std::string_view name) {
    size_t dot = name.find_last_of('.');
    return dot != std::string_view::npos && dot != 0 && platform::isPackageExtension(name.substr(dot + 1));
}

}  // namespace

std::shared_ptr<DiskUsageProvider> getDiskUsageProvider() { return std::make_shared<DiskUsage>(); }

DiskUsage::~DiskUsage() { invalidateProgressTimer(); }

std::string DiskUsage::rootPath() const {
    std::lock_guard lock(_mutex);
    return _rootPath;
}

void DiskUsage::postProgress(int percent) {
    mainQueue()->async([weak = weak_from_this(), percent] {
        if (auto self = weak.lock(); self && self->_onProgress) self->_onProgress(percent);
    });
}

void DiskUsage::start(const std::string& path) {
    {
        std::lock_guard lock(_mutex);
        _rootPath = path;
    }
    _previousProgress = 0;
    if (isStarted()) return;
    if (path.empty()) {
        finish(nullptr);
        return;
    }
    _currentState = DiskUsageState::started;
    _ignoredPath = platform::Layout::shared().systemPath("/dev");
    auto self = shared_from_this();
    if (isTrash(path)) {
        startProgressTimer();
        globalQueue()->async([self] { self->walk(); });
        return;
    }
    globalQueue()->async([self] { self->startQuery(); });
}

void DiskUsage::startQuery() {
    _packageSizer.reset();
    auto queue = std::make_shared<platform::OperationQueue>("DiskUsage.metadataQueryQueue");
    queue->setMaxConcurrentOperationCount(1);
    {
        std::lock_guard lock(_mutex);
        _metadataQueryQueue = queue;
    }
    std::string scope = rootPath();
    // Set before the query can answer, which reports the same value again.
    _previousProgress = randomBetween(1, 2);
    postProgress(_previousProgress);
    queue->addOperation([weak = weak_from_this(), scope] {
        auto self = weak.lock();
        if (!self) return;
        auto index = platform::MetadataIndex::shared();
        if (index->walksScopeForPackages()) {
            // Its answer would cost a walk of the whole scope before ours:
            // ours asks it about each package folder it meets instead.
            self->_packageSizer = std::move(index);
            self->didFinishMetadataQueryGathering({});
            return;
        }
        auto answer = index->packages(scope);
        if (!answer) {
            // No index: the walk does all the work.
            {
                std::lock_guard lock(self->_mutex);
                self->_metadataQueryQueue.reset();
            }
            self->_mdQueryResults.clear();
            globalQueue()->async([self] { self->walk(); });
            return;
        }
        std::vector<std::pair<std::string, int64_t>> results;
        results.reserve(answer->size());
        for (auto& item : *answer) results.emplace_back(std::move(item.path), item.size);
        self->didFinishMetadataQueryGathering(std::move(results));
    });
}

void DiskUsage::didFinishMetadataQueryGathering(std::vector<std::pair<std::string, int64_t>> results) {
    if (!isStarted()) return;
    std::unordered_map<std::string, int64_t> sizes;
    sizes.reserve(results.size());
    for (auto& [path, size] : results) sizes[std::move(path)] = size;
    _mdQueryResults = std::move(sizes);
    globalQueue()->async([self = shared_from_this()] { self->walk(); });
    postProgress(_previousProgress);
    std::lock_guard lock(_mutex);
    _metadataQueryQueue.reset();
}

void DiskUsage::walk() {
    if (!isStarted()) {
        finish(nullptr);
        return;
    }
    std::string path = rootPath();
    struct stat st {};
    if (getFileInfo(path.c_str(), &st) != 0) {
        finish(nullptr);
        return;
    }
    OMFolderElement rootElement(st, path);

    auto timeout = std::make_shared<platform::dispatch::WorkItem>([weak = weak_from_this()] {
        if (auto self = weak.lock()) self->timeoutCancelOperation();
    });
    {
        std::lock_guard lock(_mutex);
        if (_timeoutTimer) _timeoutTimer->cancel();
        _timeoutTimer = timeout;
    }
    mainQueue()->asyncAfter(std::chrono::duration<double>(_timeoutInterval), timeout);

    OMFolderExtractor::setupScanContextWithDeviceNumber(st.st_dev);
    OMFolderExtractor::isAlreadyPresent(st.st_ino);
    startProgressTimer();

    auto queue = std::make_shared<platform::OperationQueue>("DiskUsage.fileTraverseQueue");
    // The listings keep the cores busy in the kernel; more at once than
    // there are cores only adds switches and a longer list of running
    // operations to search as each one ends.
    queue->setMaxConcurrentOperationCount(static_cast<int>(std::max(2u, std::thread::hardware_concurrency())));
    queue->setOnOperationFinished([weak = weak_from_this()](const std::shared_ptr<platform::Operation>& op) {
        if (auto self = weak.lock()) {
            std::lock_guard lock(self->_mutex);
            self->_operations.erase(op.get());
        }
    });
    auto root = DiskFileTreeNode::make(rootElement);
    {
        std::lock_guard lock(_mutex);
        _fileTraverseQueue = queue;
    }
    _rootNode = root;
    addTraversal(root.get(), path);
    queue->waitUntilAllOperationsAreFinished();
    if (!isStopped()) {
        finish(root);
    } else {
        // Stopped: nothing more is reported.
        std::lock_guard lock(_mutex);
        _fileTraverseQueue.reset();
        _operations.clear();
        _rootNode.reset();
    }
    if (_walkEndedHook) _walkEndedHook();
}

void DiskUsage::addTraversal(DiskFileTreeNode* node, std::string path) {
    if (isStopped() || _isTimeout.load()) return;
    auto op = std::make_shared<DiskTraverseOperation>(std::move(path));
    op->onFilesFound = [node](DiskFileTreeNode::Children files) { node->appendChildren(std::move(files)); };
    op->onFoldersFound = [this, node](DiskFileTreeNode::Children folders) { foldersFound(node, std::move(folders)); };
    std::shared_ptr<platform::OperationQueue> queue;
    {
        std::lock_guard lock(_mutex);
        queue = _fileTraverseQueue;
        if (!queue) return;
        _operations.emplace(op.get(), _operationsQueued++);
    }
    op->beforeListingForTesting = _traverseHook;
    queue->addOperation(op);
}

void DiskUsage::foldersFound(DiskFileTreeNode* parent, DiskFileTreeNode::Children folders) {
    std::vector<DiskFileTreeNode*> added;
    added.reserve(folders.size());
    for (const auto& folder : folders) added.push_back(folder.get());
    parent->appendChildren(std::move(folders));
    if (added.empty()) return;
    // The host's current-folder display: once per listed folder.
    if (_onFileFound) _onFileFound(added.front()->path(), 0);
    for (DiskFileTreeNode* folder : added) {
        std::string path = folder->path();
        if (path == _ignoredPath) {
            folder->setFileType(DiskUsageNodeType::folder(DiskUsageFolderType::ignored));
            folder->setSize(std::nullopt);
            continue;
        }
        folder->setSize(std::nullopt);
        if (auto size = knownPackageSize(path, folder->name()); size && *size >= 1) {
            folder->setSize(*size);
            folder->setFileType(DiskUsageNodeType::folder(DiskUsageFolderType::bundle));
            continue;
        }
        addTraversal(folder, std::move(path));
    }
}

std::optional<int64_t> DiskUsage::knownPackageSize(const std::string& path, const std::string& name) const {
    if (_packageSizer) {
        if (!hasPackageExtension(name)) return std::nullopt;
        return _packageSizer->itemSize(path);
    }
    if (_mdQueryResults.empty()) return std::nullopt;
    auto known = _mdQueryResults.find(path);
    if (known == _mdQueryResults.end()) return std::nullopt;
    return known->second;
}

void DiskUsage::startProgressTimer() {
    uint64_t generation = ++_progressTimerGeneration;
    auto tick = std::make_shared<std::function<void()>>();
    *tick = [weak = weak_from_this(), generation, weakTick = std::weak_ptr<std::function<void()>>(tick)] {
        auto self = weak.lock();
        if (!self || self->_progressTimerGeneration.load() != generation) return;
        self->updateWalkProgress();
        if (auto next = weakTick.lock())
            mainQueue()->asyncAfter(std::chrono::duration<double>(kProgressInterval), [next] { (*next)(); });
    };
    mainQueue()->asyncAfter(std::chrono::duration<double>(kProgressInterval), [tick] { (*tick)(); });
}

void DiskUsage::invalidateProgressTimer() { ++_progressTimerGeneration; }

void DiskUsage::updateWalkProgress() {
    int next = _previousProgress.load() + randomBetween(1, 4);
    if (next >= 96) return;
    _previousProgress = next;
    if (_onProgress) _onProgress(next);
}

void DiskUsage::timeoutCancelOperation() {
    if (!isStarted()) return;
    _isTimeout = true;
    std::shared_ptr<platform::OperationQueue> queue;
    int count = 0;
    std::string lastPath;
    {
        std::lock_guard lock(_mutex);
        queue = _fileTraverseQueue;
        if (!queue) return;
        count = static_cast<int>(_operations.size());
        uint64_t newest = 0;
        for (const auto& [op, order] : _operations) {
            const auto& path = static_cast<const DiskTraverseOperation*>(op)->path();
            if (path.empty() || (!lastPath.empty() && order < newest)) continue;
            newest = order;
            lastPath = path;
        }
    }
    struct stat st {};
    if (!lastPath.empty() && getFileInfo(lastPath.c_str(), &st) == 0 && _onDUScanningTimeout)
        _onDUScanningTimeout(count, lastPath, st);
    queue->cancelAllOperations();
}

void DiskUsage::finish(std::shared_ptr<DiskFileTreeNode> node) {
    {
        std::lock_guard lock(_mutex);
        if (_timeoutTimer) _timeoutTimer->cancel();
        _timeoutTimer.reset();
        _fileTraverseQueue.reset();
        _metadataQueryQueue.reset();
        _operations.clear();
    }
    _mdQueryResults.clear();
    _packageSizer.reset();
    invalidateProgressTimer();
    _previousProgress = 0;
    _rootNode.reset();
    postProgress(96 + randomBetween(0, 3));
    if (node && !isStopped()) node->computeSizes();
    // Ready before the host hears of the end, so that it may start again
    // from its completion block.
    _currentState = DiskUsageState::ready;
    mainQueue()->async([weak = weak_from_this(), node] {
        auto self = weak.lock();
        if (!self) return;
        if (self->_onProgress) self->_onProgress(100);
        if (self->_onCompletion) self->_onCompletion(node);
    });
}

void DiskUsage::stop() {
    if (!isStopped()) _currentState = DiskUsageState::stoped;
    // A stopped scan shows no more progress and can't time out.
    invalidateProgressTimer();
    std::shared_ptr<platform::OperationQueue> queue;
    {
        std::lock_guard lock(_mutex);
        queue = _fileTraverseQueue;
        if (_timeoutTimer) _timeoutTimer->cancel();
        _timeoutTimer.reset();
    }
    if (queue) queue->cancelAllOperations();
}

SystemStorageUsageData DiskUsage::systemStorageUsage() const {
    std::string home = platform::Layout::shared().home();
    struct statvfs st {};
    if (::statvfs(home.c_str(), &st) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot read the volume of " + home);
    SystemStorageUsageData data;
    data.totalSize = static_cast<uint64_t>(st.f_blocks) * st.f_frsize;
    data.availableSize = static_cast<uint64_t>(st.f_bavail) * st.f_frsize;
    return data;
}

}  // namespace Core
