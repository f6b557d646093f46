#include "Core/rules/RuleManager.h"

#include "Core/rules/ResourceError.h"
#include "Core/rules/Resources.h"

#include <unordered_set>

namespace Core {

namespace {

std::optional<std::vector<CaseInsensitiveString>> toCaseInsensitive(
    const std::optional<std::vector<std::string>>& ids) {
    if (!ids) return std::nullopt;
    return std::vector<CaseInsensitiveString>(ids->begin(), ids->end());
}

}  // namespace

const RuleManager& RuleManager::shared() {
    // A function-local static: built once, and built again on the next call
    // if the first attempt threw.
    static const RuleManager instance(shippedDocumentText(), platform::Layout::shared(), "ruleInfo.txt");
    return instance;
}

std::string RuleManager::shippedDocumentText() { return openEncipheredResource(requireResource("ruleInfo", "txt")); }

RuleManager::RuleManager(std::string_view documentText, const platform::Layout& layout, const std::string& file)
    : RuleManager(decodeRuleDocument(documentText, file), layout, file) {}

RuleManager::RuleManager(const RuleDocument& document, const platform::Layout& layout, const std::string& file) {
    for (const auto& [key, decodable] : document) {
        auto id = RuleID::parse(key);
        if (!id) {
            throw ResourceError(file, key.empty() ? std::string("the empty rule key is not allowed")
                                                  : "rule key \"" + key + "\": the pattern does not compile");
        }
        ExtraInfo info{toCaseInsensitive(decodable.ids), CaseInsensitiveString::from(decodable.organization)};
        if (id->ruleCase() == RuleID::Case::bundleID)
            _extraInfos.insert_or_assign(id->identifier(), std::move(info));
        else if (id->ruleCase() == RuleID::Case::bundleIDRegex)
            _regexExtraInfos.insert_or_assign(id->expression(), std::move(info));
        Rule rule = Rule::make(decodable, id->basePriority(), layout);
        _rules.insert_or_assign(std::move(*id), std::move(rule));
    }
}

RuleManager::DocumentSummary RuleManager::summarize(const RuleDocument& document) {
    DocumentSummary summary;
    summary.entries = document.size();
    for (const auto& [key, entry] : document) {
        if (key == "*") summary.base = true;
        else if (key == "@") summary.black = true;
        else if (key == "#") summary.system = true;
        else if (!key.empty() && key.front() == '*') ++summary.patterns;
        else if (!key.empty()) ++summary.bundleIDs;
    }
    return summary;
}

RuleManager::ExtraInfoResult RuleManager::extraInfo(std::string_view id) const {
    std::unordered_set<CaseInsensitiveString> ids;
    std::optional<CaseInsensitiveString> organization;
    auto take = [&](const ExtraInfo& info) {
        if (info.ids) ids.insert(info.ids->begin(), info.ids->end());
        organization = info.organization;
    };
    for (const auto& [re, info] : _regexExtraInfos)
        if (re.matches(id)) take(info);
    if (auto found = _extraInfos.find(CaseInsensitiveString(id)); found != _extraInfos.end()) take(found->second);
    return {std::vector<CaseInsensitiveString>(ids.begin(), ids.end()), organization};
}

}  // namespace Core
