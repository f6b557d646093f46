#pragma once
// DecodableRule: one entry of the rule document as it stands in the YAML,
// before any interpretation, and the decoding of a whole document. Every
// field is optional: an absent (or null) key is an absent field, and a key
// of the wrong type fails the whole decoding.
//
// Threading: plain values and a pure function.
//
//   Core::RuleDocument doc = Core::decodeRuleDocument(text, "ruleInfo.txt");
//   for (auto& [key, entry] : doc) if (entry.caches) ...

#include "Core/rules/RuleCategory.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Core {

// The kind keys of one category with their path expressions, in document
// order (the same key twice stays twice; the later one wins when compiled).
using DecodableKindPaths = std::vector<std::pair<std::string, std::vector<std::string>>>;

// The category fields (`caches` ... `preferencePanes`) come from
// RuleCategories, in the order of the document's keys.
struct DecodableRule : RuleCategories<DecodableKindPaths> {
    std::optional<std::vector<std::string>> ids;
    std::optional<std::string> organization;
};

// The rule keys with their entries, in document order (which carries no
// meaning).
using RuleDocument = std::vector<std::pair<std::string, DecodableRule>>;

// Decodes a rule document. Throws ResourceError naming `file` and the cause:
// the YAML error with its line and column, or the rule key and the field
// whose type is wrong. An empty document (also the empty text that invalid
// UTF-8 gives) is an error too.
RuleDocument decodeRuleDocument(std::string_view text, const std::string& file);

}  // namespace Core
