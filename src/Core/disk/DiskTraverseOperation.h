#pragma once
// DiskTraverseOperation: lists one folder of a disk usage walk with the bulk
// listing of OMFolderExtractor and hands the entries on as tree nodes:
// folders first, then the other files. An empty list, or a cancelled
// operation, gives no callback. The operation always finishes, also for a
// folder that can't be opened.
//
// It lives in the scan frame's module, beside DUAsyncOperation, its base;
// the tree and the listing it uses come from the disk module below.
//
// Threading: started by an operation queue on a worker; the callbacks run
// on that worker before the operation finishes.
//
//   auto op = std::make_shared<Core::DiskTraverseOperation>("/data");
//   op->onFoldersFound = [](auto nodes) { ... };
//   queue.addOperation(op);

#include "Core/foundation/DUAsyncOperation.h"
#include "disk/DiskFileTreeNode.h"

#include <functional>
#include <string>

namespace Core {

class DiskTraverseOperation : public DUAsyncOperation {
public:
    using NodesFound = std::function<void(DiskFileTreeNode::Children nodes)>;

    explicit DiskTraverseOperation(std::string path) : _path(std::move(path)) {}

    NodesFound onFoldersFound;
    NodesFound onFilesFound;
    // Called with the path on the worker before the folder is listed.
    std::function<void(const std::string&)> beforeListingForTesting;

    const std::string& path() const { return _path; }

protected:
    void execute() override;

private:
    std::string _path;
};

}  // namespace Core
