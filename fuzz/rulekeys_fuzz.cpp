// Parses arbitrary text as a rule key, a name pattern and a path expression,
// and runs what parses against the text itself. None of it may crash.
#include "Core/rules/Matcher.h"
#include "Core/rules/PathMatcher.h"
#include "Core/rules/RuleID.h"
#include "platform/Layout.h"

#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    if (auto id = Core::RuleID::parse(text)) (void)id->ruleCase();
    if (auto matcher = Core::Matcher::parse(text)) matcher->match(text);
    if (auto path = Core::PathMatcher::parse(text, 0, platform::Layout::shared()))
        for (const auto& step : path->pathMatchers) step.match(text);
    return 0;
}
