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
#include <variant>

namespace Core {

class DirectoryInfo;

class FileNode {
public:
    enum class Case : unsigned char { file, directory, unknown, notExists };

    static FileNode file(std::shared_ptr<FileInfo> info) { return FileNode(Storage(std::move(info))); }
    static FileNode directory(std::shared_ptr<DirectoryInfo> info) { return FileNode(Storage(std::move(info))); }
    static FileNode unknown() { return FileNode(Storage(Unknown{})); }
    static FileNode notExists() { return FileNode(Storage(NotExists{})); }

    Case nodeCase() const { return static_cast<Case>(_value.index()); }
    bool isFile() const { return _value.index() == 0; }
    bool isDirectory() const { return _value.index() == 1; }
    // Only valid for the matching case.
    const std::shared_ptr<FileInfo>& fileInfo() const { return std::get<0>(_value); }
    const std::shared_ptr<DirectoryInfo>& directoryInfo() const { return std::get<1>(_value); }

private:
    struct Unknown {};
    struct NotExists {};
    using Storage = std::variant<std::shared_ptr<FileInfo>, std::shared_ptr<DirectoryInfo>, Unknown, NotExists>;
    explicit FileNode(Storage value) : _value(std::move(value)) {}
    Storage _value;
};

}  // namespace Core
