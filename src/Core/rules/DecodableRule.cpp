#include "Core/rules/DecodableRule.h"

#include "Core/rules/ResourceError.h"
#include "Core/rules/internal/YamlDecoding.h"

namespace Core {

namespace {

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

RuleDocument decodeRuleDocument(std::string_view text, const std::string& file) {
    YAML::Node root = internal::loadYaml(text, file);
    if (!root || root.IsNull()) throw ResourceError(file, "the document is empty (or is not UTF-8 text)");
    if (!root.IsMap())
        throw ResourceError(file, internal::describePosition(root.Mark()) +
                                      ": the document is not a mapping of rule keys to entries");
    return internal::decodingFailuresOf(file, [&] {
        RuleDocument document;
        document.reserve(root.size());
        for (const auto& item : root) {
            if (!item.first.IsScalar())
                throw internal::DecodingFailure(internal::describePosition(item.first.Mark()) +
                                                ": a rule key is not a string");
            const std::string& key = item.first.Scalar();
            document.emplace_back(key, decodeEntry(item.second, key));
        }
        return document;
    });
}

}  // namespace Core
