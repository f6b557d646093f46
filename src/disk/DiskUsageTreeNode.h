#pragma once
// DiskUsageTreeNode: how the host sees one node of a disk usage tree. After
// the scan's completion the tree belongs to the host, which may take a node
// out after deleting its file; the sizes of all folders above are then
// corrected.
//
// Threading: the host's thread (main) only, once the scan has completed.
//
//   for (const auto& child : *root->children()) draw(child->path(), child->size());
//   root->remove(child);   // root->size() shrinks by child->size()

#include "disk/DiskUsageNodeType.h"
#include "platform/URL.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Core {

class DiskFileTreeNode;

class DiskUsageTreeNode {
public:
    virtual ~DiskUsageTreeNode() = default;

    virtual std::optional<DiskUsageNodeType> fileType() const = 0;
    virtual std::string path() const = 0;
    virtual platform::URL url() const = 0;
    // Bytes on disk; 0 when the size is absent.
    virtual int64_t size() const = 0;
    // Null until the walk has visited the node (files, bundles, ignored
    // folders); otherwise its children in the order they arrived.
    virtual const std::vector<std::shared_ptr<DiskFileTreeNode>>* children() const = 0;
    // Null at the root. Valid while the tree's root is held.
    virtual DiskFileTreeNode* parent() const = 0;
    // Removes `child` (compared by identity) from the children and sums the
    // sizes of this node and of every ancestor anew. A node of another type
    // changes nothing.
    virtual void remove(const std::shared_ptr<DiskUsageTreeNode>& child) = 0;
};

}  // namespace Core
