#pragma once
// Matcher: how one path component of a rule is matched against a directory
// entry's name: one name (`string`, without regard to case), a regular
// expression (`regex`, always case-insensitive), every entry (`any`), or
// every entry with its name taken as the identifier of what lies below
// (`id`). Matchers are table keys of the match tree and of the walk's cache.
//
// Threading: an immutable value; copy and share freely.
//
//   auto m = Core::Matcher::parse("*(?<id>.+)\\.plist");   // a regex "^(?<id>.+)\.plist$"
//   auto r = m->match("com.example.Notes.plist");           // matched, id "com.example.Notes"

#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/Regex.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Core {

class Matcher {
public:
    enum class Case : unsigned char { string, regex, any, id };

    static Matcher string(CaseInsensitiveString name) { return Matcher(Storage(std::move(name))); }
    static Matcher regex(platform::Regex re) { return Matcher(Storage(std::move(re))); }
    static Matcher any() { return Matcher(Storage(Any{})); }
    static Matcher id() { return Matcher(Storage(ID{})); }

    // A component of a path expression: "" gives nothing; "*" any; "**" id;
    // "*text" the regex "^text$"; "^..." the regex as it stands; anything
    // else a string. Nothing when a regex doesn't compile.
    static std::optional<Matcher> parse(std::string_view text);

    Case matcherCase() const { return static_cast<Case>(_value.index()); }
    // How specific the matcher is: string 4, regex 3, id 2, any 1.
    int rank() const;
    // The payloads; only valid for the matching case.
    const CaseInsensitiveString& name() const { return std::get<CaseInsensitiveString>(_value); }
    const platform::Regex& expression() const { return std::get<platform::Regex>(_value); }

    // The outcome of matching one entry's name.
    struct Result {
        bool matched = false;
        std::optional<std::string> id;  // the captured identifier, if any
    };
    // Matches `name`: regex by its first match anywhere in the name (the
    // pattern anchors itself or not), any always without id, id always with
    // the name as id, string by the case-insensitive compare.
    Result match(std::string_view name) const;

    friend bool operator==(const Matcher& a, const Matcher& b) { return a._value == b._value; }
    size_t hashValue() const;

private:
    struct Any {
        friend bool operator==(Any, Any) { return true; }
    };
    struct ID {
        friend bool operator==(ID, ID) { return true; }
    };
    using Storage = std::variant<CaseInsensitiveString, platform::Regex, Any, ID>;
    explicit Matcher(Storage value) : _value(std::move(value)) {}
    Storage _value;
};

// The identifier a match of `re` over `name` captured: for a pattern that
// doesn't end in "$" and mentions "id", the rest of the name after the
// match's length (in UTF-16 units); otherwise the non-empty text of the
// group "id"; nothing when neither applies.
std::optional<std::string> capturedIdentifier(const platform::Regex& re, std::string_view name,
                                              const platform::Regex::Match& match);

// Compiles "^" + text + "$" case-insensitively: the "*text" form shared by
// matchers and rule keys.
std::optional<platform::Regex> compileStarPattern(std::string_view textAfterStar);

}  // namespace Core

template <>
struct std::hash<Core::Matcher> {
    size_t operator()(const Core::Matcher& m) const noexcept { return m.hashValue(); }
};
