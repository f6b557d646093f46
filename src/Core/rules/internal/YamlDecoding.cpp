#include "Core/rules/internal/YamlDecoding.h"

#include "Core/rules/ResourceError.h"

namespace Core::internal {

namespace {

[[noreturn]] void wrongType(const YAML::Node& node, const std::string& entry, const std::string& field,
                            const char* expected) {
    throw DecodingFailure(describePosition(node.Mark()) + ": key \"" + entry + "\", field \"" + field +
                          "\": expected " + expected);
}

std::vector<std::string> stringList(const YAML::Node& node, const std::string& entry, const std::string& field) {
    if (!node.IsSequence()) wrongType(node, entry, field, "a list of strings");
    std::vector<std::string> out;
    out.reserve(node.size());
    for (const auto& item : node) {
        if (!item.IsScalar()) wrongType(item, entry, field, "a list of strings");
        out.push_back(item.Scalar());
    }
    return out;
}

}  // namespace

std::string describePosition(const YAML::Mark& mark) {
    if (mark.is_null()) return "unknown position";
    return "line " + std::to_string(mark.line + 1) + ", column " + std::to_string(mark.column + 1);
}

void rethrowAsResourceError(const std::string& file) {
    try {
        throw;
    } catch (const DecodingFailure& e) {
        throw ResourceError(file, e.what());
    } catch (const YAML::Exception& e) {
        throw ResourceError(file, describePosition(e.mark) + ": " + e.msg);
    }
}

YAML::Node loadYaml(std::string_view text, const std::string& file) {
    try {
        return YAML::Load(std::string(text));
    } catch (const YAML::Exception& e) {
        throw ResourceError(file, describePosition(e.mark) + ": " + e.msg);
    }
}

std::optional<std::string> readString(const YAML::Node& map, const std::string& entry, const char* field) {
    YAML::Node node = map[field];
    if (!node || node.IsNull()) return std::nullopt;
    if (!node.IsScalar()) wrongType(node, entry, field, "a string");
    return node.Scalar();
}

std::optional<std::vector<std::string>> readStringList(const YAML::Node& map, const std::string& entry,
                                                        const char* field) {
    YAML::Node node = map[field];
    if (!node || node.IsNull()) return std::nullopt;
    return stringList(node, entry, field);
}

std::optional<std::vector<std::pair<std::string, std::vector<std::string>>>> readStringListMap(
    const YAML::Node& map, const std::string& entry, const char* field) {
    YAML::Node node = map[field];
    if (!node || node.IsNull()) return std::nullopt;
    if (!node.IsMap()) wrongType(node, entry, field, "a mapping of kinds to lists of paths");
    std::vector<std::pair<std::string, std::vector<std::string>>> out;
    for (const auto& item : node) {
        if (!item.first.IsScalar()) wrongType(item.first, entry, field, "a mapping of kinds to lists of paths");
        const std::string& kind = item.first.Scalar();
        out.emplace_back(kind, stringList(item.second, entry, std::string(field) + "." + kind));
    }
    return out;
}

}  // namespace Core::internal
