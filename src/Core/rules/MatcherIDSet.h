#pragma once
// MatcherIDSet: the ids of the match-tree nodes that can produce one rule's
// files. Shared by all the compilation contexts of the rule while the tree
// is built, and read-only afterwards.
//
// Threading: filled by one thread during compilation; read by any number
// of threads once the tree is published.

#include <cstdint>
#include <unordered_set>

namespace Core {

using MatcherID = int64_t;

class MatcherIDSet {
public:
    std::unordered_set<MatcherID> matcherIDs;

    void insert(MatcherID id) { matcherIDs.insert(id); }
};

}  // namespace Core
