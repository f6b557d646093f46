#pragma once
// DiskUsageProvider (DiskUsage, through getDiskUsageProvider()): measures a folder tree for the host's disk map. The metadata
// index first lists the packages below the folder with their sizes (the
// walk then counts each as one node and doesn't enter it); a parallel walk
// of DiskTraverseOperations on an operation queue lists everything else,
// staying on the folder's volume and counting each hard-linked file once.
// The layout's "/dev" is kept as an ignored folder and not entered. The
// host gets the tree in onCompletion, with the sizes summed.
//
// Progress is a cosmetic percentage: 1 or 2 when the query starts, then a
// random 1 to 4 more each second while below 96, then 96 to 99 and 100 at
// the end. After 600 seconds the walk is cut off: onDUScanningTimeout says
// where it stood, and the partial tree is delivered. stop() ends a scan
// without a completion. A provider serves one scan at a time.
//
// Threading: start, stop and the setters on the main thread. onProgress,
// onCompletion and onDUScanningTimeout arrive on the main queue;
// onFileFound, the current folder, on the walk's workers.
//
//   auto scan = Core::getDiskUsageProvider();
//   scan->setOnCompletion([](std::shared_ptr<Core::DiskUsageTreeNode> root) { draw(root); });
//   scan->start("/Users/me");

#include "disk/DiskFileTreeNode.h"
#include "disk/SystemStorageUsageData.h"

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace Core {

enum class DiskUsageState { started = 0, stoped = 1, ready = 2 };

// The error values of the exported interface; the scan itself reports
// failure by a completion without a node.
struct DiskUsageError {
    enum class Kind { pathNotFound, lstatError, readDirError, urlError, metadataQueryError, pathError, accessError };
    Kind kind;
    std::string path;
};

class DiskUsageProvider {
public:
    using FileFound = std::function<void(const std::string& path, int64_t size)>;
    using ProgressBlock = std::function<void(int percent)>;
    using Completion = std::function<void(std::shared_ptr<DiskUsageTreeNode> root)>;
    using Timeout = std::function<void(int operations, const std::string& path, const struct stat& info)>;

    virtual ~DiskUsageProvider() = default;

    virtual const FileFound& onFileFound() const = 0;
    virtual void setOnFileFound(FileFound block) = 0;
    virtual const ProgressBlock& onProgress() const = 0;
    virtual void setOnProgress(ProgressBlock block) = 0;
    virtual const Completion& onCompletion() const = 0;
    virtual void setOnCompletion(Completion block) = 0;
    // Starts a scan of `path`; while one runs, only the path is replaced.
    virtual void start(const std::string& path) = 0;
    virtual bool isStopped() const = 0;
    virtual void stop() = 0;
    virtual bool isStarted() const = 0;
    virtual const Timeout& onDUScanningTimeout() const = 0;
    virtual void setOnDUScanningTimeout(Timeout block) = 0;
    // The capacity and free space of the home's volume; throws
    // std::system_error (with the path) when it can't be read.
    virtual SystemStorageUsageData systemStorageUsage() const = 0;
};

// A new scanner, to be held by the host for the scan's life.
std::shared_ptr<DiskUsageProvider> getDiskUsageProvider();

}  // namespace Core
