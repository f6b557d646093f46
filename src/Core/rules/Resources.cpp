#include "Core/rules/Resources.h"

#include "Core/rules/AESHelper.h"
#include "Core/rules/ResourceError.h"
#include "platform/ResourceBundle.h"
#include "platform/Strings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace Core {

std::string requireResource(const std::string& name, const std::string& type) {
    auto& bundle = platform::ResourceBundle::shared();
    if (auto path = bundle.pathForResource(name, type)) return *path;
    throw ResourceError(name + "." + type, "not found in the resources folder " + bundle.folder());
}

std::string readResourceFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw ResourceError(path, std::string("cannot be opened: ") + std::strerror(errno));
    std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (in.bad()) throw ResourceError(path, "cannot be read");
    return bytes;
}

std::optional<std::string> decipherResourceText(std::string_view bytes) {
    auto plain = AESHelper::shared().decrypt(bytes);
    if (!plain) return std::nullopt;
    if (!platform::isValidUTF8(*plain)) return std::string();
    plain->erase(std::remove(plain->begin(), plain->end(), '\0'), plain->end());
    return plain;
}

std::string openEncipheredResource(const std::string& path) {
    auto text = decipherResourceText(readResourceFile(path));
    if (!text) throw ResourceError(path, "does not decipher (not an enciphered document, or damaged)");
    return std::move(*text);
}

}  // namespace Core
