#include "Core/rules/MatcherContext.h"

#include <algorithm>

namespace Core {

namespace {

int chainRank(const PathMatcher& p, size_t position) {
    return position < p.pathMatchers.size() ? p.pathMatchers[position].rank() : p.nameMatcher.rank();
}

}  // namespace

bool MatcherContext::precedes(const MatcherContext& a, const MatcherContext& b) {
    const PathMatcher& pa = a.matcher;
    const PathMatcher& pb = b.matcher;
    if (pa.priority != pb.priority) return pa.priority > pb.priority;
    // Chains have one more element than their directories: compare up to the
    // shorter chain's end, its name matcher included.
    size_t shorter = std::min(pa.pathMatchers.size(), pb.pathMatchers.size());
    for (size_t i = 0; i <= shorter; ++i) {
        int ra = chainRank(pa, i);
        int rb = chainRank(pb, i);
        if (ra != rb) return ra > rb;
    }
    // No difference: the longer path first; equal lengths are unordered.
    return pa.pathMatchers.size() > pb.pathMatchers.size();
}

}  // namespace Core
