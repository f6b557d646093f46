#pragma once
// dff::Path: a full file-system path as one UTF-8 byte string.
// operator/ joins with exactly one added "/" and never looks for one that is
// already there, so the walk builds child paths without scanning text.
//
// A search holds a path for every file it finds, so a Path is two words: a
// pointer to its NUL-terminated bytes and their length. It owns its bytes
// (one exact allocation), or borrows them from the text arena of the search
// that made it (Path::borrowing): such a path is valid while that search's
// files are. A copy always owns its bytes; a move keeps what the source had.
//
//   dff::Path child = dff::Path("/photos") / "2024";   // "/photos/2024"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace dff {

class Path {
public:
    Path() = default;
    Path(std::string_view text) { assign(text, false, {}); }  // NOLINT: built from a string as freely as a string
    Path(const std::string& text) : Path(std::string_view(text)) {}  // NOLINT
    Path(const char* text) : Path(std::string_view(text)) {}         // NOLINT

    // A path over `length` bytes at `text`, followed by a NUL, that someone
    // else keeps alive for as long as this path is used.
    static Path borrowing(const char* text, size_t length) {
        Path path;
        path._text = text;
        path._length = static_cast<uint32_t>(length);
        return path;
    }

    Path(const Path& other) : Path(other.view()) {}
    Path(Path&& other) noexcept
        : _text(std::exchange(other._text, nullptr)), _length(std::exchange(other._length, 0)),
          _owned(std::exchange(other._owned, false)) {}
    Path& operator=(const Path& other) {
        if (this != &other) *this = Path(other);
        return *this;
    }
    Path& operator=(Path&& other) noexcept {
        if (this != &other) {
            release();
            _text = std::exchange(other._text, nullptr);
            _length = std::exchange(other._length, 0);
            _owned = std::exchange(other._owned, false);
        }
        return *this;
    }
    ~Path() { release(); }

    Path operator/(std::string_view name) const {
        Path joined;
        joined.assign(view(), true, name);
        return joined;
    }
    Path operator/(const std::string& name) const { return *this / std::string_view(name); }
    Path operator/(const char* name) const { return *this / std::string_view(name); }

    const char* cStr() const { return _text ? _text : ""; }
    std::string_view view() const { return {cStr(), _length}; }
    std::string str() const { return std::string(view()); }
    size_t length() const { return _length; }

    friend bool operator==(const Path& a, const Path& b) { return a.view() == b.view(); }

private:
    // `head`, then "/" and `name` when joining, in bytes of its own.
    void assign(std::string_view head, bool join, std::string_view name) {
        size_t length = join ? head.size() + 1 + name.size() : head.size();
        if (length == 0) return;
        char* text = new char[length + 1];
        if (!head.empty()) std::memcpy(text, head.data(), head.size());
        if (join) {
            text[head.size()] = '/';
            if (!name.empty()) std::memcpy(text + head.size() + 1, name.data(), name.size());
        }
        text[length] = '\0';
        _text = text;
        _length = static_cast<uint32_t>(length);
        _owned = true;
    }

    void release() {
        if (_owned) delete[] _text;
    }

    const char* _text = nullptr;
    uint32_t _length = 0;
    bool _owned = false;
};

}  // namespace dff
