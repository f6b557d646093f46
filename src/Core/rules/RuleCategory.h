#pragma once
// RuleCategory: the nine categories of a rule entry ("caches" ... 
// "preferencePanes"), in the order of a rule's fields. A category gives no
// kind of its own: it sets the default priority and whether the match tree
// compiles its paths at all.

#include <array>
#include <cstddef>
#include <optional>
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

// The nine optional fields of a rule entry, named after the categories,
// each holding a T; shared by the decoded and the compiled form of a rule.
template <class T>
struct RuleCategories {
    std::optional<T> caches;
    std::optional<T> logs;
    std::optional<T> support;
    std::optional<T> library;
    std::optional<T> loginItems;
    std::optional<T> crashReports;
    std::optional<T> plugins;
    std::optional<T> shared;
    std::optional<T> preferencePanes;

    std::optional<T>& category(RuleCategory c) { return this->*fields()[static_cast<size_t>(c)]; }
    const std::optional<T>& category(RuleCategory c) const { return this->*fields()[static_cast<size_t>(c)]; }

private:
    using Field = std::optional<T> RuleCategories::*;
    static constexpr std::array<Field, 9> fields() {
        return {&RuleCategories::caches,     &RuleCategories::logs,         &RuleCategories::support,
                &RuleCategories::library,    &RuleCategories::loginItems,   &RuleCategories::crashReports,
                &RuleCategories::plugins,    &RuleCategories::shared,       &RuleCategories::preferencePanes};
    }
};

}  // namespace Core
