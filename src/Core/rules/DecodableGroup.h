#pragma once
// DecodableGroup: one entry of the vendor and group documents
// ("app_vender.yaml", "app_group.yaml"), and the decoding of such a
// document. Every field is optional; a key of the wrong type fails the
// decoding.
//
// Threading: plain values and a pure function.
//
//   for (const auto& g : Core::decodeGroupDocument(text, "app_group.yaml")) use(g.name, g.ids);

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Core {

struct DecodableGroup {
    std::optional<std::string> domain;
    std::optional<std::string> name;
    std::optional<std::vector<std::string>> ids;
};

// Decodes a group document: a sequence of entries (the shipped form), or a
// mapping whose values are entries, taken in document order. An empty
// document gives no entries. Throws ResourceError naming `file` and the cause.
std::vector<DecodableGroup> decodeGroupDocument(std::string_view text, const std::string& file);

}  // namespace Core
