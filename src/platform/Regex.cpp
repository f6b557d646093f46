#include "platform/Regex.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <unordered_map>

namespace platform {

struct Regex::Impl {
    std::string pattern;
    uint32_t options = 0;
    std::unique_ptr<icu::RegexPattern> compiled;  // immutable once built; shareable across threads
    int32_t idGroup = -1;                         // the number of the group named "id", or -1
};

namespace {

// The text as UTF-16, each ill-formed sequence read as U+FFFD.
void toUTF16(std::string_view text, icu::UnicodeString& out) {
    out.remove();
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    int32_t i = 0;
    while (i < length) {
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        out.append(c < 0 ? static_cast<UChar32>(0xFFFD) : c);
    }
}

// One matcher per pattern per thread: a RegexMatcher is not thread-safe, and
// making one per match would cost more than the match. The entry keeps the
// pattern alive, since the matcher points into it.
struct CachedMatcher {
    std::shared_ptr<const Regex::Impl> keep;
    std::unique_ptr<icu::RegexMatcher> matcher;
};

struct ThreadCache {
    std::unordered_map<const Regex::Impl*, CachedMatcher> matchers;
    icu::UnicodeString input;  // the text being matched; a matcher only refers to it
};

constexpr size_t kMaxCachedMatchers = 1024;

icu::RegexMatcher* matcherFor(const std::shared_ptr<const Regex::Impl>& impl, ThreadCache& cache) {
    auto found = cache.matchers.find(impl.get());
    if (found != cache.matchers.end()) return found->second.matcher.get();
    if (cache.matchers.size() >= kMaxCachedMatchers) cache.matchers.clear();
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(impl->compiled->matcher(status));
    if (U_FAILURE(status) || !matcher) return nullptr;
    auto* raw = matcher.get();
    cache.matchers.emplace(impl.get(), CachedMatcher{impl, std::move(matcher)});
    return raw;
}

Regex::Range makeRange(std::string_view text, int32_t start, int32_t end) {
    Regex::Range r;
    r.location = static_cast<size_t>(start);
    r.length = static_cast<size_t>(end - start);
    r.utf8Location = Regex::utf8Offset(text, r.location);
    r.utf8Length = Regex::utf8Offset(text, r.location + r.length) - r.utf8Location;
    return r;
}

}  // namespace

std::optional<Regex> Regex::compile(std::string_view pattern, uint32_t options, std::string* error) {
    auto impl = std::make_shared<Impl>();
    impl->pattern = std::string(pattern);
    impl->options = options;
    uint32_t flags = 0;
    if ((options & caseInsensitive) != 0) flags |= UREGEX_CASE_INSENSITIVE;
    UParseError parseError{};
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString source;
    toUTF16(pattern, source);
    impl->compiled.reset(icu::RegexPattern::compile(source, flags, parseError, status));
    if (U_FAILURE(status) || !impl->compiled) {
        if (error != nullptr)
            *error = std::string(u_errorName(status)) + " at offset " + std::to_string(parseError.offset);
        return std::nullopt;
    }
    UErrorCode groupStatus = U_ZERO_ERROR;
    int32_t group = impl->compiled->groupNumberFromName("id", -1, groupStatus);
    impl->idGroup = U_SUCCESS(groupStatus) ? group : -1;
    return Regex(std::move(impl));
}

const std::string& Regex::pattern() const { return _impl->pattern; }
uint32_t Regex::options() const { return _impl->options; }
bool Regex::hasIDGroup() const { return _impl->idGroup > 0; }

std::optional<Regex::Match> Regex::firstMatch(std::string_view text) const {
    thread_local ThreadCache cache;
    icu::RegexMatcher* matcher = matcherFor(_impl, cache);
    if (matcher == nullptr) return std::nullopt;
    toUTF16(text, cache.input);
    matcher->reset(cache.input);
    UErrorCode status = U_ZERO_ERROR;
    if (!matcher->find(0, status) || U_FAILURE(status)) return std::nullopt;
    Match match;
    int32_t start = matcher->start(status);
    int32_t end = matcher->end(status);
    if (U_FAILURE(status)) return std::nullopt;
    match.range = makeRange(text, start, end);
    if (_impl->idGroup > 0) {
        int32_t groupStart = matcher->start(_impl->idGroup, status);
        int32_t groupEnd = matcher->end(_impl->idGroup, status);
        if (U_SUCCESS(status) && groupStart >= 0) match.id = makeRange(text, groupStart, groupEnd);
    }
    return match;
}

std::vector<std::optional<std::string>> Regex::captureGroups(std::string_view text) const {
    std::vector<std::optional<std::string>> groups;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(_impl->compiled->matcher(status));
    if (U_FAILURE(status)) return groups;
    icu::UnicodeString input;
    toUTF16(text, input);
    matcher->reset(input);
    if (!matcher->find(0, status) || U_FAILURE(status)) return groups;
    for (int32_t g = 0; g <= matcher->groupCount(); ++g) {
        int32_t start = matcher->start(g, status);
        int32_t end = matcher->end(g, status);
        if (U_FAILURE(status) || start < 0) {
            groups.emplace_back();
            status = U_ZERO_ERROR;
            continue;
        }
        groups.emplace_back(substring(text, makeRange(text, start, end)));
    }
    return groups;
}

std::string Regex::substring(std::string_view text, const Range& range) {
    if (range.utf8Location >= text.size()) return {};
    return std::string(text.substr(range.utf8Location, range.utf8Length));
}

size_t Regex::utf8Offset(std::string_view text, size_t utf16Offset) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    int32_t i = 0;
    size_t units = 0;
    while (units < utf16Offset && i < length) {
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        units += c < 0 ? 1 : static_cast<size_t>(U16_LENGTH(c));
    }
    return static_cast<size_t>(i);
}

bool operator==(const Regex& a, const Regex& b) {
    return a._impl == b._impl || (a._impl->options == b._impl->options && a._impl->pattern == b._impl->pattern);
}

size_t Regex::hashValue() const {
    return std::hash<std::string>{}(_impl->pattern) ^ (static_cast<size_t>(_impl->options) * 0x9e3779b97f4a7c15ULL);
}

}  // namespace platform
