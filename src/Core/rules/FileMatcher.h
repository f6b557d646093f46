#pragma once
// FileMatcher: a leaf of the match tree: the matcher of a rule's result,
// with the priority at which it claims names, the kind of what it finds and
// the rule it belongs to. A plain value.

#include "Core/foundation/AppFile.h"
#include "Core/rules/Matcher.h"
#include "Core/rules/MatcherIDSet.h"
#include "Core/rules/RuleID.h"

#include <cstdint>

namespace Core {

struct FileMatcher {
    MatcherID id = 0;
    Matcher matcher;
    int64_t priority = 0;
    AppFileKind kind;
    RuleID ruleID;
};

}  // namespace Core
