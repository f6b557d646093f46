#include "Core/rules/DecodableGroup.h"

#include "Core/rules/ResourceError.h"
#include "Core/rules/internal/YamlDecoding.h"

namespace Core {

namespace {

DecodableGroup decodeGroup(const YAML::Node& node, const std::string& label) {
    DecodableGroup group;
    if (node.IsNull()) return group;
    if (!node.IsMap())
        throw internal::DecodingFailure(internal::describePosition(node.Mark()) + ": entry \"" + label +
                                        "\": expected a mapping of fields");
    group.domain = internal::readString(node, label, "domain");
    group.name = internal::readString(node, label, "name");
    group.ids = internal::readStringList(node, label, "ids");
    return group;
}

}  // namespace

std::vector<DecodableGroup> decodeGroupDocument(std::string_view text, const std::string& file) {
    YAML::Node root = internal::loadYaml(text, file);
    std::vector<DecodableGroup> groups;
    if (!root || root.IsNull()) return groups;
    internal::decodingFailuresOf(file, [&] {
        if (root.IsSequence()) {
            size_t index = 0;
            for (const auto& item : root) groups.push_back(decodeGroup(item, "#" + std::to_string(index++)));
        } else if (root.IsMap()) {
            for (const auto& item : root) {
                if (!item.first.IsScalar())
                    throw internal::DecodingFailure(internal::describePosition(item.first.Mark()) +
                                                    ": an entry key is not a string");
                groups.push_back(decodeGroup(item.second, item.first.Scalar()));
            }
        } else {
            throw internal::DecodingFailure(internal::describePosition(root.Mark()) +
                                            ": the document is neither a list nor a mapping of entries");
        }
    });
    return groups;
}

}  // namespace Core
