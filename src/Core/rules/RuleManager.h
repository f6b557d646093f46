#pragma once
// RuleManager: the rule document turned into typed records: the rules by
// what they apply to, with every path expression compiled and its root
// resolved for the layout of the moment, and the further identifiers and
// organization of applications.
//
// Threading: immutable after construction; read from any thread without a
// lock. shared() builds the process-wide instance once, on first use, from
// the shipped "ruleInfo.txt" and Layout::shared(); a thread that asks while
// another builds it waits.
//
//   const auto& rules = Core::RuleManager::shared();          // throws ResourceError on a bad document
//   auto info = rules.extraInfo("com.example.Notes");        // aliases and organization

#include "Core/foundation/CaseInsensitiveString.h"
#include "Core/rules/DecodableRule.h"
#include "Core/rules/ExtraInfo.h"
#include "Core/rules/Rule.h"
#include "Core/rules/RuleID.h"
#include "platform/Layout.h"
#include "platform/Regex.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Core {

class RuleManager {
public:
    // The process-wide instance. Throws ResourceError when "ruleInfo.txt" is
    // missing, doesn't decipher or doesn't decode, or holds a key that isn't
    // allowed; a later call tries again.
    static const RuleManager& shared();

    // Builds from a decoded document. Throws ResourceError naming `file` for
    // the empty key or a "*" key whose pattern doesn't compile.
    RuleManager(const RuleDocument& document, const platform::Layout& layout, const std::string& file);
    // Builds from the plain YAML text of a document; throws ResourceError as
    // decodeRuleDocument does and as above.
    RuleManager(std::string_view documentText, const platform::Layout& layout, const std::string& file);

    // The deciphered text of the shipped "ruleInfo.txt"; throws ResourceError.
    static std::string shippedDocumentText();

    // What a document's keys hold: entries, keys naming one bundle
    // identifier, "*" keys with a pattern (also those whose pattern doesn't
    // compile), and whether the base, black and system rules are present.
    struct DocumentSummary {
        size_t entries = 0;
        size_t bundleIDs = 0;
        size_t patterns = 0;
        bool base = false;
        bool black = false;
        bool system = false;
    };
    static DocumentSummary summarize(const RuleDocument& document);

    const std::unordered_map<RuleID, Rule>& rules() const { return _rules; }
    const std::unordered_map<CaseInsensitiveString, ExtraInfo>& extraInfos() const { return _extraInfos; }
    const std::unordered_map<platform::Regex, ExtraInfo>& regexExtraInfos() const { return _regexExtraInfos; }

    struct ExtraInfoResult {
        std::vector<CaseInsensitiveString> ids;  // in no defined order, without repeats
        std::optional<CaseInsensitiveString> organization;
    };
    // The further identifiers and the organization of `id`: those of every
    // pattern that finds `id`, then those of the exact entry, whose
    // organization (also an absent one) replaces the patterns'. Nothing
    // matching gives no ids and no organization.
    ExtraInfoResult extraInfo(std::string_view id) const;

private:
    std::unordered_map<RuleID, Rule> _rules;
    std::unordered_map<CaseInsensitiveString, ExtraInfo> _extraInfos;
    std::unordered_map<platform::Regex, ExtraInfo> _regexExtraInfos;
};

}  // namespace Core
