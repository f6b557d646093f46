#pragma once
// RuleCategory: the nine categories of a rule entry ("caches" ... 
// "preferencePanes"), in the order of a rule's fields. A category gives no
// kind of its own: it sets the default priority and whether the match tree
// compiles its paths at all.

#include <array>
#include <cstddef>
#include <string_view>

namespace Core {

enum class RuleCategory : unsigned char {
    caches,
    logs,
    support,
    library,
    loginItems,
    crashReports,
    plugins,
    shared,
    preferencePanes,
};

inline constexpr std::array<RuleCategory, 9> kAllRuleCategories{
    RuleCategory::caches,       RuleCategory::logs,    RuleCategory::support,
    RuleCategory::library,      RuleCategory::loginItems, RuleCategory::crashReports,
    RuleCategory::plugins,      RuleCategory::shared,  RuleCategory::preferencePanes,
};

// The document's key of the category.
constexpr std::string_view ruleCategoryKey(RuleCategory c) {
    constexpr std::array<std::string_view, 9> keys{"caches",       "logs",    "support", "library",        "loginItems",
                                                   "crashReports", "plugins", "shared",  "preferencePanes"};
    return keys[static_cast<size_t>(c)];
}

}  // namespace Core
