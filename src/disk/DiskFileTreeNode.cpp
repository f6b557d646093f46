#include "disk/DiskFileTreeNode.h"

#include <algorithm>
#include <utility>

namespace Core {

namespace {

DiskUsageNodeType typeOf(const OMFolderElement& element) {
    if (element.isFolder()) return DiskUsageNodeType::folder(DiskUsageFolderType::browsable);
    if (element.isSymbolicLink()) return DiskUsageNodeType::file(DiskUsageFileType::symbolic);
    if (element.isSpecialFile()) return DiskUsageNodeType::file(DiskUsageFileType::special);
    return DiskUsageNodeType::file(DiskUsageFileType::normal);
}

}  // namespace

std::shared_ptr<DiskFileTreeNode> DiskFileTreeNode::make(const OMFolderElement& element, std::string name) {
    return std::make_shared<DiskFileTreeNode>(std::move(name), typeOf(element),
                                              static_cast<int64_t>(element.size()));
}

std::shared_ptr<DiskFileTreeNode> DiskFileTreeNode::make(const OMFolderElement& element) {
    return make(element, element.path());
}

DiskFileTreeNode::DiskFileTreeNode(std::string name, std::optional<DiskUsageNodeType> type,
                                   std::optional<int64_t> size)
    : _name(std::move(name)) {
    if (type) setFileType(*type);
    setSize(size);
}

DiskFileTreeNode::~DiskFileTreeNode() {
    Children pending = std::move(_children);
    while (!pending.empty()) {
        auto node = std::move(pending.back());
        pending.pop_back();
        // A node the host still holds keeps its subtree.
        if (node.use_count() != 1) continue;
        for (auto& child : node->_children) pending.push_back(std::move(child));
        node->_children.clear();
    }
}

std::optional<DiskUsageNodeType> DiskFileTreeNode::fileType() const {
    if (!_hasType) return std::nullopt;
    return _type;
}

void DiskFileTreeNode::setFileType(DiskUsageNodeType type) {
    _type = type;
    _hasType = true;
    _isFolder = type.isFolder();
}

void DiskFileTreeNode::setSize(std::optional<int64_t> size) {
    _hasSize = size.has_value();
    _size = size.value_or(0);
}

std::string DiskFileTreeNode::path() const {
    std::vector<const std::string*> names;
    size_t length = 0;
    for (const DiskFileTreeNode* node = this; node; node = node->_parent) {
        names.push_back(&node->_name);
        length += node->_name.size() + 1;
    }
    std::string result;
    result.reserve(length);
    for (auto it = names.rbegin(); it != names.rend(); ++it) {
        if (!result.empty() && result.back() != '/') result += '/';
        result += **it;
    }
    return result;
}

platform::URL DiskFileTreeNode::url() const { return platform::URL::fileURL(path(), _isFolder); }

void DiskFileTreeNode::appendChildren(Children nodes) {
    for (auto& node : nodes) node->_parent = this;
    if (_children.empty()) {
        _children = std::move(nodes);
    } else {
        _children.reserve(_children.size() + nodes.size());
        std::move(nodes.begin(), nodes.end(), std::back_inserter(_children));
    }
    _hasChildren = true;
}

void DiskFileTreeNode::sumChildren() {
    int64_t sum = 0;
    for (const auto& child : _children) sum += child->size();
    setSize(sum);
}

void DiskFileTreeNode::computeSizes() {
    if (!_hasChildren) return;
    // Post-order without recursion: folder trees can be thousands deep.
    struct Frame {
        DiskFileTreeNode* node;
        size_t next;
    };
    std::vector<Frame> stack{{this, 0}};
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.next < top.node->_children.size()) {
            DiskFileTreeNode* child = top.node->_children[top.next++].get();
            if (child->_hasChildren) stack.push_back({child, 0});
            continue;
        }
        top.node->sumChildren();
        stack.pop_back();
    }
}

void DiskFileTreeNode::remove(const std::shared_ptr<DiskUsageTreeNode>& child) {
    auto* node = dynamic_cast<DiskFileTreeNode*>(child.get());
    if (!node) return;
    if (std::erase_if(_children, [node](const auto& entry) { return entry.get() == node; }) > 0)
        node->_parent = nullptr;
    for (DiskFileTreeNode* ancestor = this; ancestor; ancestor = ancestor->_parent) {
        if (ancestor->_hasChildren) ancestor->sumChildren();
    }
}

}  // namespace Core
