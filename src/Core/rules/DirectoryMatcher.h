#pragma once
// DirectoryMatcher: an inner node of the match tree: the matcher of a
// directory on the way to rules' results, and the nodes below it. Paths
// that share a beginning share these nodes.
//
// Threading: children are filled during compilation only; afterwards the
// node is read by any number of threads without a lock.

#include "Core/rules/Matcher.h"
#include "Core/rules/MatcherIDSet.h"
#include "Core/rules/MatcherNode.h"

#include <vector>

namespace Core {

class DirectoryMatcher {
public:
    DirectoryMatcher(MatcherID id, Matcher matcher) : id(id), matcher(std::move(matcher)) {}

    const MatcherID id;
    const Matcher matcher;
    std::vector<MatcherNode> children;
};

}  // namespace Core
