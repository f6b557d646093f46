#include "Core/rules/DecodableRule.h"

#include "Core/rules/ResourceError.h"
#include "Core/rules/internal/YamlDecoding.h"

namespace Core {

namespace {

using Field = std::optional<DecodableKindPaths> DecodableRule::*;

constexpr std::array<Field, 9> kCategoryFields{
    &DecodableRule::caches,     &DecodableRule::logs,         &DecodableRule::support,
    &DecodableRule::library,    &DecodableRule::loginItems,   &DecodableRule::crashReports,
    &DecodableRule::plugins,    &DecodableRule::shared,       &DecodableRule::preferencePanes,
};

DecodableRule decodeEntry(const YAML::Node& node, const std::string& key) {
    DecodableRule rule;
    if (node.IsNull()) return rule;  // an entry without fields
    if (!node.IsMap())
        throw internal::DecodingFailure(internal::describePosition(node.Mark()) + ": key \"" + key +
                                        "\": expected a mapping of fields");
    rule.ids = internal::readStringList(node, key, "ids");
    rule.organization = internal::readString(node, key, "organization");
    for (RuleCategory c : kAllRuleCategories) {
        std::string field(ruleCategoryKey(c));
        rule.category(c) = internal::readStringListMap(node, key, field.c_str());
    }
    return rule;
}

}  // namespace

std::optional<DecodableKindPaths>& DecodableRule::category(RuleCategory c) {
    return this->*kCategoryFields[static_cast<size_t>(c)];
}

const std::optional<DecodableKindPaths>& DecodableRule::category(RuleCategory c) const {
    return this->*kCategoryFields[static_cast<size_t>(c)];
}

RuleDocument decodeRuleDocument(std::string_view text, const std::string& file) {
    YAML::Node root = internal::loadYaml(text, file);
    if (!root || root.IsNull()) throw ResourceError(file, "the document is empty (or is not UTF-8 text)");
    if (!root.IsMap())
        throw ResourceError(file, internal::describePosition(root.Mark()) +
                                      ": the document is not a mapping of rule keys to entries");
    RuleDocument document;
    document.reserve(root.size());
    try {
        for (const auto& item : root) {
            if (!item.first.IsScalar())
                throw internal::DecodingFailure(internal::describePosition(item.first.Mark()) +
                                                ": a rule key is not a string");
            const std::string& key = item.first.Scalar();
            document.emplace_back(key, decodeEntry(item.second, key));
        }
    } catch (const internal::DecodingFailure& e) {
        throw ResourceError(file, e.what());
    } catch (const YAML::Exception& e) {
        throw ResourceError(file, internal::describePosition(e.mark) + ": " + e.msg);
    }
    return document;
}

}  // namespace Core
