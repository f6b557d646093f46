#pragma once
// Regex: a compiled regular expression with the platform's semantics (ICU
// syntax, named groups, the case-insensitive option), matched over UTF-8
// text. Ranges are reported as the platform reports them, in UTF-16 code
// units, and also as byte ranges of the UTF-8 text.
//
// Threading: a Regex is an immutable value; copies share the compiled
// pattern and may be used from any number of threads at once. Each thread
// keeps its own matcher per pattern, so matching allocates nothing after the
// first match of a pattern on a thread.
//
//   auto re = platform::Regex::compile("^(?<id>[a-z]+)\\.plist$");
//   if (auto m = re->firstMatch("Notes.plist")) re->substring("Notes.plist", *m->id);   // "Notes"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class Regex {
public:
    enum Option : uint32_t {
        caseInsensitive = 1u << 0,
    };

    // A span of the text: `location` and `length` in UTF-16 code units, and
    // the same span as a byte range of the UTF-8 text.
    struct Range {
        size_t location = 0;
        size_t length = 0;
        size_t utf8Location = 0;
        size_t utf8Length = 0;
    };

    struct Match {
        Range range;
        // The named group "id"; absent when the pattern has no such group or
        // the group took no part in the match.
        std::optional<Range> id;
    };

    // Compiles `pattern`; nothing when it does not compile (the reason goes
    // to `error` when given).
    static std::optional<Regex> compile(std::string_view pattern, uint32_t options = caseInsensitive,
                                        std::string* error = nullptr);

    const std::string& pattern() const;
    uint32_t options() const;
    // True when the pattern declares a group named "id".
    bool hasIDGroup() const;

    // The first match anywhere in `text` (not anchored unless the pattern
    // anchors itself); nothing when there is none. Ill-formed UTF-8 is read
    // with each bad sequence as U+FFFD.
    std::optional<Match> firstMatch(std::string_view text) const;
    // Shorthand for firstMatch(text).has_value().
    bool matches(std::string_view text) const { return firstMatch(text).has_value(); }
    // Every numbered group of the first match (index 0 is the whole match);
    // a group that took no part is absent. Empty when there is no match.
    std::vector<std::optional<std::string>> captureGroups(std::string_view text) const;

    // The UTF-8 text of `range` in `text`.
    static std::string substring(std::string_view text, const Range& range);
    // The byte offset in `text` of the UTF-16 offset `utf16Offset`; an
    // offset inside a character moves to the character's end, and one past
    // the end gives text.size().
    static size_t utf8Offset(std::string_view text, size_t utf16Offset);

    // Equal when pattern and options are equal, as the platform's objects.
    friend bool operator==(const Regex& a, const Regex& b);
    size_t hashValue() const;

    struct Impl;

private:
    explicit Regex(std::shared_ptr<const Impl> impl) : _impl(std::move(impl)) {}
    std::shared_ptr<const Impl> _impl;
};

}  // namespace platform

template <>
struct std::hash<platform::Regex> {
    size_t operator()(const platform::Regex& r) const noexcept { return r.hashValue(); }
};
