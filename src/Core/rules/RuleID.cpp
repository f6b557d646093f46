#include "Core/rules/RuleID.h"

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

size_t RuleID::hashValue() const {
    size_t h = _value.index() * 0x9e3779b97f4a7c15ULL;
    switch (ruleCase()) {
        case Case::bundleID: return h ^ std::get<CaseInsensitiveString>(_value).hashValue();
        case Case::bundleIDRegex: return h ^ std::get<platform::Regex>(_value).hashValue();
        default: return h;
    }
}

}  // namespace Core
