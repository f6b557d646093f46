#pragma once
// DiskFileTreeNode: a node of the disk usage tree. A node keeps its own name
// only and makes its path from its ancestors', so that a tree of a million
// entries costs about a hundred bytes a node; the root's name is its whole
// path. Parents own their children; a child points back to its parent.
//
// Threading: during a walk a node is changed only by the operation that
// lists its folder (children, then their sizes and types) and by the
// operation that lists the child folder itself, which the first one queued:
// no two threads touch one node at once. After the walk the tree belongs to
// the host's thread.
//
//   auto root = Core::DiskFileTreeNode::make(rootElement);
//   root->appendChildren(std::move(children));
//   root->computeSizes();
//   root->size();   // the sum of the children's sizes

#include "disk/DiskUsageTreeNode.h"
#include "disk/OMFolderElement.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Core {

class DiskFileTreeNode final : public DiskUsageTreeNode {
public:
    using Children = std::vector<std::shared_ptr<DiskFileTreeNode>>;

    // A node for a listed element: a folder is folder(browsable) without a
    // size yet, anything else a file of its kind with the element's size.
    // `name` is the last component, or the whole path for a root.
    static std::shared_ptr<DiskFileTreeNode> make(const OMFolderElement& element, std::string name);
    // The root of a scan: its whole path as name.
    static std::shared_ptr<DiskFileTreeNode> make(const OMFolderElement& element);
    DiskFileTreeNode(std::string name, std::optional<DiskUsageNodeType> type, std::optional<int64_t> size);
    // Takes the subtree apart without recursion: folder chains can be far
    // deeper than the stack.
    ~DiskFileTreeNode() override;
    DiskFileTreeNode(const DiskFileTreeNode&) = delete;
    DiskFileTreeNode& operator=(const DiskFileTreeNode&) = delete;

    std::optional<DiskUsageNodeType> fileType() const override;
    std::string path() const override;
    platform::URL url() const override;
    int64_t size() const override { return _hasSize ? _size : 0; }
    const Children* children() const override { return _hasChildren ? &_children : nullptr; }
    DiskFileTreeNode* parent() const override { return _parent; }
    void remove(const std::shared_ptr<DiskUsageTreeNode>& child) override;

    const std::string& name() const { return _name; }
    bool isFolder() const { return _isFolder; }
    bool hasSize() const { return _hasSize; }
    void setSize(std::optional<int64_t> size);
    void setFileType(DiskUsageNodeType type);

    // Makes each entry a child of this node and appends them, in order;
    // the node has children from now on, also when `nodes` is empty.
    void appendChildren(Children nodes);

    // The sizes of the tree below this node, depth first: a node without
    // children keeps its size, one with an empty list gets 0, any other the
    // sum of its children's (an absent size counts 0). A folder's own blocks
    // aren't counted.
    void computeSizes();

    friend bool operator==(const DiskFileTreeNode& a, const DiskFileTreeNode& b) { return &a == &b; }

private:
    void sumChildren();

    DiskFileTreeNode* _parent = nullptr;
    Children _children;
    std::string _name;
    int64_t _size = 0;
    bool _hasSize = false;
    bool _hasChildren = false;
    bool _hasType = false;
    bool _isFolder = false;
    DiskUsageNodeType _type = DiskUsageNodeType::file(DiskUsageFileType::normal);
};

}  // namespace Core

template <>
struct std::hash<Core::DiskFileTreeNode> {
    size_t operator()(const Core::DiskFileTreeNode& node) const noexcept {
        return std::hash<const void*>{}(&node);
    }
};
