#pragma once
// MatcherNode: a node of the match tree: a leaf (`file`, a FileMatcher held
// by value) or an inner node (`directory`, a shared DirectoryMatcher whose
// children are nodes again). Cheap to copy and to walk.
//
// Threading: the tree is immutable once compiled and read by any number of
// threads without a lock.
//
//   for (const Core::MatcherNode& node : list)
//       if (node.isFile()) use(node.file()); else walk(node.directory()->children);

#include "Core/rules/FileMatcher.h"

#include <memory>
#include <variant>

namespace Core {

class DirectoryMatcher;

class MatcherNode {
public:
    static MatcherNode file(FileMatcher leaf) { return MatcherNode(Storage(std::move(leaf))); }
    static MatcherNode directory(std::shared_ptr<DirectoryMatcher> node) { return MatcherNode(Storage(std::move(node))); }

    bool isFile() const { return _value.index() == 0; }
    bool isDirectory() const { return _value.index() == 1; }
    // Only valid for the matching case.
    const FileMatcher& file() const { return std::get<FileMatcher>(_value); }
    const std::shared_ptr<DirectoryMatcher>& directory() const { return std::get<1>(_value); }

    // The node's id and matcher, whatever its case.
    MatcherID id() const;
    const Matcher& matcher() const;

private:
    using Storage = std::variant<FileMatcher, std::shared_ptr<DirectoryMatcher>>;
    explicit MatcherNode(Storage value) : _value(std::move(value)) {}
    Storage _value;
};

}  // namespace Core
