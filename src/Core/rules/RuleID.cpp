#include "Core/rules/RuleID.h"

#include "Core/rules/internal/NameOrPatternHash.h"

#include "Core/rules/Matcher.h"

namespace Core {

std::optional<RuleID> RuleID::parse(std::string_view text) {
    if (text.empty()) return std::nullopt;
    if (text == "*") return base();
    if (text.front() == '*') {
        auto re = compileStarPattern(text.substr(1));
        if (!re) return std::nullopt;
        return bundleIDRegex(std::move(*re));
    }
    if (text == "@") return black();
    if (text == "#") return system();
    return bundleID(CaseInsensitiveString(text));
}

int RuleID::basePriority() const {
    switch (ruleCase()) {
        case Case::system: return 9;
        case Case::bundleID: return 4;
        case Case::bundleIDRegex: return 3;
        case Case::black: return 2;
        case Case::base: return 1;
    }
    return 0;
}

size_t RuleID::hashValue() const { return internal::nameOrPatternHash(_value); }

}  // namespace Core
