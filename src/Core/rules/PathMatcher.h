#pragma once
// PathMatcher: one compiled path expression of a rule: the root directory
// where matching starts (resolved for the current layout), the priority,
// the matchers of the directories on the way and the matcher of the result.
//
// Threading: an immutable value; copy and share freely.
//
//   auto p = Core::PathMatcher::parse("70:Lib/Logs/*notes-.*\\.log", 40, platform::Layout::shared());
//   // p->root == <library>, p->priority == 70, pathMatchers [string("Logs")], nameMatcher regex

#include "Core/rules/Matcher.h"
#include "platform/Layout.h"
#include "platform/URL.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace Core {

struct PathMatcher {
    platform::URL root;
    int64_t priority = 0;
    std::vector<Matcher> pathMatchers;  // the directories on the way; may be empty
    Matcher nameMatcher = Matcher::any();

    // Parses a path expression: an optional "N:" priority prefix, then a
    // path from "/" (the layout's root) or from the root words "Home",
    // "Lib" or "Tmp" (the parent of the temporary folder), with at least one
    // component after the root. Nothing, without a message, for another
    // first word, a missing component, a regex that doesn't compile, or a
    // priority that doesn't fit 64 bits.
    static std::optional<PathMatcher> parse(std::string_view text, int64_t defaultPriority,
                                            const platform::Layout& layout);
};

}  // namespace Core
