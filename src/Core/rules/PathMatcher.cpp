#include "Core/rules/PathMatcher.h"

#include "platform/Strings.h"

#include <charconv>

namespace Core {

namespace {

const platform::Regex& priorityPrefix() {
    static const platform::Regex re = *platform::Regex::compile("^(\\d+):(.+)$", 0);
    return re;
}


std::optional<platform::URL> rootFor(std::string_view word, const platform::Layout& layout) {
    if (word == "Home") return platform::URL::fileURL(layout.home(), true);
    if (word == "Lib") return platform::URL::fileURL(layout.userLibrary(), true);
    if (word == "Tmp") return platform::URL::fileURL(layout.temporaryDirectory(), true).deletingLastPathComponent();
    return std::nullopt;
}

}  // namespace

std::optional<PathMatcher> PathMatcher::parse(std::string_view text, int64_t defaultPriority,
                                              const platform::Layout& layout) {
    PathMatcher result;
    std::string pathText(text);
    result.priority = defaultPriority;
    if (text.size() > 2 && text.front() >= '0' && text.front() <= '9') {
        auto groups = priorityPrefix().captureGroups(text);
        if (groups.size() == 3 && groups[1] && groups[2]) {
            const std::string& digits = *groups[1];
            int64_t value = 0;
            auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 10);
            // A prefix that is no plain 64-bit number can't be honoured.
            if (ec != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
            result.priority = value;
            pathText = *groups[2];
        }
    }
    std::vector<std::string_view> pieces = platform::splitNonEmpty(pathText, '/');
    if (!pathText.empty() && pathText.front() == '/') {
        if (pieces.empty()) return std::nullopt;
        result.root = platform::URL::fileURL(layout.systemPath("/"), true);
    } else {
        if (pieces.size() < 2) return std::nullopt;
        auto root = rootFor(pieces.front(), layout);
        if (!root) return std::nullopt;
        result.root = std::move(*root);
        pieces.erase(pieces.begin());
    }
    result.pathMatchers.reserve(pieces.size() - 1);
    for (size_t i = 0; i + 1 < pieces.size(); ++i) {
        auto m = Matcher::parse(pieces[i]);
        if (!m) return std::nullopt;
        result.pathMatchers.push_back(std::move(*m));
    }
    auto name = Matcher::parse(pieces.back());
    if (!name) return std::nullopt;
    result.nameMatcher = std::move(*name);
    return result;
}

}  // namespace Core
