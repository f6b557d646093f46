#pragma once
// MatcherContext: one path expression on its way into the match tree, with
// the kind and rule it came from and the id set of that rule; and the order
// in which the contexts are inserted.
//
// Threading: a working record of one compilation.

#include "Core/foundation/AppFile.h"
#include "Core/rules/MatcherIDSet.h"
#include "Core/rules/PathMatcher.h"
#include "Core/rules/RuleID.h"

#include <memory>

namespace Core {

struct MatcherContext {
    PathMatcher matcher;
    AppFileKind kind;
    RuleID ruleID;
    std::shared_ptr<MatcherIDSet> idSet;

    // The insertion order: the higher priority first; at equal priority the
    // chains of matchers (directories, then the name) compared from the root
    // by rank, the higher first; when the shorter path's directories run out
    // without a difference, its name matcher goes before the longer path's
    // next matcher only when strictly more specific. A strict weak order.
    static bool precedes(const MatcherContext& a, const MatcherContext& b);
};

}  // namespace Core
