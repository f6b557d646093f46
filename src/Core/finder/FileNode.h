#pragma once
// FileNode: what the walk knows of one name in a directory: a file a leaf
// took, a directory a directory node entered, a name that exists and no
// matcher has taken yet, or a name that was looked up and doesn't exist.
// Knowledge only grows: `unknown` may become `file` or `directory`.
//
// Threading: part of a FileFinder cache; see FileFinder.
//
//   auto node = Core::FileNode::file(info);
//   if (node.isFile()) node.fileInfo()->used = true;

#include "Core/finder/FileInfo.h"

#include <memory>

namespace Core {

class DirectoryInfo;

class FileNode {
public:
    enum class Case : unsigned char { file, directory, unknown, notExists };

    static FileNode file(std::shared_ptr<FileInfo> info) { return FileNode(Case::file, std::move(info), nullptr); }
    static FileNode directory(std::shared_ptr<DirectoryInfo> info) {
        return FileNode(Case::directory, nullptr, std::move(info));
    }
    static FileNode unknown() { return FileNode(Case::unknown, nullptr, nullptr); }
    static FileNode notExists() { return FileNode(Case::notExists, nullptr, nullptr); }

    Case nodeCase() const { return _case; }
    bool isFile() const { return _case == Case::file; }
    bool isDirectory() const { return _case == Case::directory; }
    // Null unless the node is of the matching case.
    const std::shared_ptr<FileInfo>& fileInfo() const { return _file; }
    const std::shared_ptr<DirectoryInfo>& directoryInfo() const { return _directory; }

private:
    // Two plain pointers rather than a variant: nodes are assigned in place
    // as knowledge grows, and this keeps that a pair of pointer moves.
    FileNode(Case c, std::shared_ptr<FileInfo> file, std::shared_ptr<DirectoryInfo> directory)
        : _case(c), _file(std::move(file)), _directory(std::move(directory)) {}
    Case _case;
    std::shared_ptr<FileInfo> _file;
    std::shared_ptr<DirectoryInfo> _directory;
};

}  // namespace Core
