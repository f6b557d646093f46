#pragma once
// Rule: the compiled paths of one rule entry, by category, each category a
// list of kinds with their path expressions. An absent category in the
// document is absent here; a present one keeps its kinds, also with an
// empty list. Two keys of one kind: the later one wins, in the place of the
// first.
//
// Threading: an immutable value once built.
//
//   Core::Rule rule = Core::Rule::make(decodable, 4, platform::Layout::shared());
//   if (rule.caches) for (auto& [kind, paths] : *rule.caches) ...

#include "Core/foundation/AppFile.h"
#include "Core/rules/DecodableRule.h"
#include "Core/rules/PathMatcher.h"
#include "Core/rules/RuleCategory.h"

#include <optional>
#include <utility>
#include <vector>

namespace Core {

using KindPathMatchers = std::vector<std::pair<AppFileKind, std::vector<PathMatcher>>>;

// The fields `caches` ... `preferencePanes` come from RuleCategories.
struct Rule : RuleCategories<KindPathMatchers> {
    // Builds the rule of `decodable` for a key whose B is `basePriority`:
    // each path's default priority is B x 10, and B x 10 + 1 under
    // `support`. Path expressions that give nothing are dropped.
    static Rule make(const DecodableRule& decodable, int basePriority, const platform::Layout& layout);
};

}  // namespace Core
