#pragma once
// dff::Path: a full file-system path as one UTF-8 byte string.
// operator/ joins with exactly one added "/" and never looks for one that is
// already there, so the walk builds child paths without scanning text.
//
// A search holds a path for every file it finds, so a Path is two words: the
// bytes in one exact allocation and their length (no spare capacity, no
// inline buffer that long paths would never use).
//
//   dff::Path child = dff::Path("/photos") / "2024";   // "/photos/2024"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace dff {

class Path {
public:
    Path() = default;
    Path(std::string_view text) { assign(text, false, {}); }  // NOLINT: as freely as a string
    Path(const std::string& text) : Path(std::string_view(text)) {}                 // NOLINT
    Path(const char* text) : Path(std::string_view(text)) {}                        // NOLINT

    Path(const Path& other) : Path(other.view()) {}
    Path(Path&& other) noexcept : _text(std::move(other._text)), _length(other._length) { other._length = 0; }
    Path& operator=(const Path& other) {
        if (this != &other) *this = Path(other);
        return *this;
    }
    Path& operator=(Path&& other) noexcept {
        _text = std::move(other._text);
        _length = other._length;
        other._length = 0;
        return *this;
    }

    Path operator/(std::string_view name) const {
        Path joined;
        joined.assign(view(), true, name);
        return joined;
    }
    Path operator/(const std::string& name) const { return *this / std::string_view(name); }
    Path operator/(const char* name) const { return *this / std::string_view(name); }

    const char* cStr() const { return _text ? _text.get() : ""; }
    std::string_view view() const { return {cStr(), _length}; }
    std::string str() const { return std::string(view()); }
    size_t length() const { return _length; }

    friend bool operator==(const Path& a, const Path& b) { return a.view() == b.view(); }

private:
    // `head`, then "/" and `name` when joining.
    void assign(std::string_view head, bool join, std::string_view name) {
        size_t length = join ? head.size() + 1 + name.size() : head.size();
        if (length == 0) {
            _text.reset();
            _length = 0;
            return;
        }
        auto text = std::make_unique_for_overwrite<char[]>(length + 1);
        if (!head.empty()) std::memcpy(text.get(), head.data(), head.size());
        if (join) {
            text[head.size()] = '/';
            if (!name.empty()) std::memcpy(text.get() + head.size() + 1, name.data(), name.size());
        }
        text[length] = '\0';
        _text = std::move(text);
        _length = static_cast<uint32_t>(length);
    }

    std::unique_ptr<char[]> _text;
    uint32_t _length = 0;
};

}  // namespace dff
