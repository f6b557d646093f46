#include "Core/disk/DiskTraverseOperation.h"

#include "disk/OMFolderExtractor.h"

namespace Core {

namespace {

// The nodes of a listing; each keeps only its own name.
DiskFileTreeNode::Children nodesOf(const std::vector<OMFolderElement>& elements) {
    DiskFileTreeNode::Children nodes;
    nodes.reserve(elements.size());
    for (const auto& element : elements) {
        const std::string& path = element.path();
        nodes.push_back(DiskFileTreeNode::make(element, path.substr(path.find_last_of('/') + 1)));
    }
    return nodes;
}

}  // namespace

void DiskTraverseOperation::execute() {
    if (beforeListingForTesting) beforeListingForTesting(_path);
    auto deliver = [this](const NodesFound& callback, std::vector<OMFolderElement> elements) {
        if (isCancelled() || elements.empty() || !callback) return;
        callback(nodesOf(elements));
    };
    OMFolderExtractor::extractFolderUsingAttrListMethodWith(
        _path, [&](std::vector<OMFolderElement> folders) { deliver(onFoldersFound, std::move(folders)); },
        [&](std::vector<OMFolderElement> files) { deliver(onFilesFound, std::move(files)); },
        [this] { finish(); });
}

}  // namespace Core
