#include "Core/rules/Matcher.h"

#include "Core/rules/internal/NameOrPatternHash.h"

#include "platform/Strings.h"

namespace Core {

std::optional<platform::Regex> compileStarPattern(std::string_view textAfterStar) {
    std::string pattern;
    pattern.reserve(textAfterStar.size() + 2);
    pattern.push_back('^');
    pattern.append(textAfterStar);
    pattern.push_back('$');
    return platform::Regex::compile(pattern, platform::Regex::caseInsensitive);
}

std::optional<Matcher> Matcher::parse(std::string_view text) {
    if (text.empty()) return std::nullopt;
    if (text == "*") return any();
    if (text == "**") return id();
    if (text.front() == '*') {
        auto re = compileStarPattern(text.substr(1));
        if (!re) return std::nullopt;
        return regex(std::move(*re));
    }
    if (text.front() == '^') {
        auto re = platform::Regex::compile(text, platform::Regex::caseInsensitive);
        if (!re) return std::nullopt;
        return regex(std::move(*re));
    }
    return string(CaseInsensitiveString(text));
}

int Matcher::rank() const {
    switch (matcherCase()) {
        case Case::string: return 4;
        case Case::regex: return 3;
        case Case::id: return 2;
        case Case::any: return 1;
    }
    return 0;
}

std::optional<std::string> capturedIdentifier(const platform::Regex& re, std::string_view name,
                                              const platform::Regex::Match& match) {
    const std::string& pattern = re.pattern();
    if (!pattern.ends_with('$') && pattern.find("id") != std::string::npos) {
        // The prefix form: what follows the matched prefix, counted as the
        // platform counts, in UTF-16 units.
        size_t from = platform::Regex::utf8Offset(name, match.range.length);
        return std::string(name.substr(from));
    }
    if (match.id && match.id->length > 0) return platform::Regex::substring(name, *match.id);
    return std::nullopt;
}

Matcher::Result Matcher::match(std::string_view name) const {
    switch (matcherCase()) {
        case Case::string:
            return {platform::caseInsensitiveCompare(std::get<CaseInsensitiveString>(_value).origin(), name) == 0, {}};
        case Case::any: return {true, {}};
        case Case::id: return {true, std::string(name)};
        case Case::regex: {
            const auto& re = std::get<platform::Regex>(_value);
            auto found = re.firstMatch(name);
            if (!found) return {};
            return {true, capturedIdentifier(re, name, *found)};
        }
    }
    return {};
}

size_t Matcher::hashValue() const { return internal::nameOrPatternHash(_value); }

}  // namespace Core
