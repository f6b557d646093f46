#pragma once
// FileContext: one unit of the walk's work in a directory: the identifier
// captured on the way down, and the match-tree nodes to apply there. The
// nodes belong to the AppFileRule forest, which outlives every walk.
//
// Threading: a plain value used on the walking thread.

#include "Core/foundation/CaseInsensitiveString.h"
#include "Core/rules/MatcherNode.h"

#include <optional>
#include <vector>

namespace Core {

struct FileContext {
    std::optional<CaseInsensitiveString> id;
    const std::vector<MatcherNode>* rules = nullptr;
};

}  // namespace Core
