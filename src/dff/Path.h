#pragma once
// dff::Path: a full file-system path as one UTF-8 byte string.
// operator/ joins with exactly one added "/" and never looks for one that is
// already there, so the walk builds child paths without scanning text.
//
//   dff::Path child = dff::Path("/photos") / "2024";   // "/photos/2024"

#include <string>
#include <utility>

namespace dff {

class Path {
public:
    Path() = default;
    Path(std::string text) : _text(std::move(text)) {}  // NOLINT: built from a string as freely as a string
    Path(const char* text) : _text(text) {}              // NOLINT

    Path operator/(const std::string& name) const { return join(name.data(), name.size()); }
    Path operator/(const char* name) const { return join(name, std::char_traits<char>::length(name)); }

    const char* cStr() const { return _text.c_str(); }
    const std::string& str() const { return _text; }
    size_t length() const { return _text.size(); }

    friend bool operator==(const Path& a, const Path& b) { return a._text == b._text; }

private:
    Path join(const char* name, size_t length) const {
        std::string text;
        text.reserve(_text.size() + 1 + length);
        text.append(_text).push_back('/');
        text.append(name, length);
        return Path(std::move(text));
    }

    std::string _text;
};

}  // namespace dff
