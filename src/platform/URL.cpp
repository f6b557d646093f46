#include "platform/URL.h"

#include "platform/Layout.h"

namespace platform {

URL URL::fileURL(std::string_view path, bool isDirectory) {
    URL url;
    url._path = trimTrailingSlashes(std::string(path));
    url._isDirectory = isDirectory;
    return url;
}

std::string URL::lastPathComponent() const {
    if (_path.empty()) return {};
    if (_path == "/") return "/";
    size_t slash = _path.rfind('/');
    return slash == std::string::npos ? _path : _path.substr(slash + 1);
}

std::string URL::pathExtension() const {
    std::string name = lastPathComponent();
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == name.size()) return {};
    return name.substr(dot + 1);
}

URL URL::appending(std::string_view component, bool isDirectory) const {
    return fileURL(joinPath(_path, std::string(component)), isDirectory);
}

URL URL::deletingLastPathComponent() const {
    if (_path.empty() || _path == "/") return *this;
    size_t slash = _path.rfind('/');
    if (slash == std::string::npos) return fileURL("", true);
    return fileURL(slash == 0 ? "/" : _path.substr(0, slash), true);
}

URL URL::deletingPathExtension() const {
    std::string ext = pathExtension();
    if (ext.empty()) return *this;
    URL url = *this;
    url._path.resize(_path.size() - ext.size() - 1);
    return url;
}

std::string percentEncodePath(std::string_view path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(path.size());
    for (unsigned char c : path) {
        bool keep = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
                    c == '.' || c == '_' || c == '~' || c == '/' || c == '!' || c == '$' || c == '&' ||
                    c == '\'' || c == '(' || c == ')' || c == '*' || c == '+' || c == ',' || c == ';' ||
                    c == '=' || c == ':' || c == '@';
        if (keep) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back('%');
            out.push_back(kHex[c >> 4]);
            out.push_back(kHex[c & 0xF]);
        }
    }
    return out;
}

std::string URL::absoluteString() const {
    std::string text = "file://" + percentEncodePath(_path);
    if (_isDirectory && (text.empty() || text.back() != '/')) text.push_back('/');
    return text;
}

}  // namespace platform
