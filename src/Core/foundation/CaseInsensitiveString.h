#pragma once
// CaseInsensitiveString: the key of every table indexed by a bundle
// identifier, bundle name, organization or file name. It keeps the text as
// given (`origin`) and compares it with the platform's case-insensitive
// compare; it hashes the lowercased form. Where the two could disagree (full
// case folding such as "ß" against "SS"), the lowercased form decides the
// bucket and the compare decides equality.
//
// A plain value: copy it and share it across threads freely.
//
//   std::unordered_set<Core::CaseInsensitiveString> ids{"Com.Apple.Safari"};
//   ids.contains("com.apple.safari");   // true; the set still holds "Com.Apple.Safari"

#include <compare>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Core {

class CaseInsensitiveString {
public:
    CaseInsensitiveString() = default;
    CaseInsensitiveString(std::string origin) : _origin(std::move(origin)) {}  // NOLINT: implicit like a string
    CaseInsensitiveString(const char* origin) : _origin(origin) {}             // NOLINT
    CaseInsensitiveString(std::string_view origin) : _origin(origin) {}        // NOLINT

    // An absent string gives an absent value.
    static std::optional<CaseInsensitiveString> from(const std::optional<std::string>& origin);

    // The text as it was given, never altered.
    const std::string& origin() const { return _origin; }
    const std::string& description() const { return _origin; }
    // The lowercased form, computed on each call.
    std::string lowercaseString() const;
    // The hash of the lowercased bytes (the same value std::hash gives).
    size_t hashValue() const;

    friend bool operator==(const CaseInsensitiveString& a, const CaseInsensitiveString& b);
    friend std::weak_ordering operator<=>(const CaseInsensitiveString& a, const CaseInsensitiveString& b);

private:
    std::string _origin;
};

}  // namespace Core

template <>
struct std::hash<Core::CaseInsensitiveString> {
    size_t operator()(const Core::CaseInsensitiveString& s) const noexcept { return s.hashValue(); }
};
