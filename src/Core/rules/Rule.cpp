#include "Core/rules/Rule.h"

#include <algorithm>
#include <array>

namespace Core {

Rule Rule::make(const DecodableRule& decodable, int basePriority, const platform::Layout& layout) {
    Rule rule;
    for (RuleCategory c : kAllRuleCategories) {
        const auto& source = decodable.category(c);
        if (!source) continue;
        int64_t defaultPriority = int64_t{basePriority} * 10 + (c == RuleCategory::support ? 1 : 0);
        KindPathMatchers kinds;
        for (const auto& [key, texts] : *source) {
            AppFileKind kind = AppFileKind::fromRawValue(key);
            std::vector<PathMatcher> paths;
            paths.reserve(texts.size());
            for (const auto& text : texts)
                if (auto p = PathMatcher::parse(text, defaultPriority, layout)) paths.push_back(std::move(*p));
            auto existing = std::find_if(kinds.begin(), kinds.end(), [&](const auto& e) { return e.first == kind; });
            if (existing != kinds.end())
                existing->second = std::move(paths);
            else
                kinds.emplace_back(std::move(kind), std::move(paths));
        }
        rule.category(c) = std::move(kinds);
    }
    return rule;
}

}  // namespace Core
