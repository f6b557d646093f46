#include "Core/files/PlistContent.h"

namespace Core {

std::optional<std::map<std::string, platform::PlistValue>> readPlistContent(const std::string& path) {
    auto root = platform::readPropertyListFile(path);
    if (!root) return std::nullopt;
    const auto* dictionary = root->dictionary();
    if (dictionary == nullptr) return std::nullopt;
    std::map<std::string, platform::PlistValue> content;
    for (const auto& [key, value] : *dictionary) content.emplace(key, value);
    return content;
}

}  // namespace Core
