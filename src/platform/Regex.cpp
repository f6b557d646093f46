#include "platform/Regex.h"

#include "platform/Strings.h"
#include "platform/internal/IcuLibrary.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <unordered_map>

namespace platform {

using internal::IcuLibrary;

struct Regex::Impl {
    Impl() = default;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() {
        if (compiled != nullptr) internal::sharedIcuLibrary()->uregex_close(compiled);
    }

    std::string pattern;
    uint32_t options = 0;
    // Never matched itself: each thread matches with a clone of its own.
    URegularExpression* compiled = nullptr;
    int32_t idGroup = -1;  // the number of the group named "id", or -1
};

namespace {

// One matcher per pattern per thread: a matcher is not thread-safe, and
// making one per match would cost more than the match. The entry keeps the
// pattern alive, since the clone shares its compiled form.
struct CachedMatcher {
    CachedMatcher(std::shared_ptr<const Regex::Impl> keep, URegularExpression* matcher)
        : keep(std::move(keep)), matcher(matcher) {}
    CachedMatcher(const CachedMatcher&) = delete;
    CachedMatcher& operator=(const CachedMatcher&) = delete;
    ~CachedMatcher() { internal::sharedIcuLibrary()->uregex_close(matcher); }

    std::shared_ptr<const Regex::Impl> keep;
    URegularExpression* matcher;
};

struct ThreadCache {
    std::unordered_map<const Regex::Impl*, CachedMatcher> matchers;
    std::u16string input;  // the text being matched; a matcher only refers to it
};

constexpr size_t kMaxCachedMatchers = 1024;

// The thread's matcher for `impl`, set to `text`; null when none can be made.
URegularExpression* matcherFor(const std::shared_ptr<const Regex::Impl>& impl, std::string_view text) {
    thread_local ThreadCache cache;
    const IcuLibrary& icu = *internal::sharedIcuLibrary();  // there, as a pattern compiled
    auto found = cache.matchers.find(impl.get());
    if (found == cache.matchers.end()) {
        if (cache.matchers.size() >= kMaxCachedMatchers) cache.matchers.clear();
        UErrorCode status = U_ZERO_ERROR;
        URegularExpression* clone = icu.uregex_clone(impl->compiled, &status);
        if (U_FAILURE(status) || clone == nullptr) return nullptr;
        found = cache.matchers.try_emplace(impl.get(), impl, clone).first;
    }
    toUTF16(text, cache.input);
    UErrorCode status = U_ZERO_ERROR;
    icu.uregex_setText(found->second.matcher, reinterpret_cast<const UChar*>(cache.input.data()),
                       static_cast<int32_t>(cache.input.size()), &status);
    return U_SUCCESS(status) ? found->second.matcher : nullptr;
}

Regex::Range makeRange(std::string_view text, int32_t start, int32_t end) {
    Regex::Range r;
    r.location = static_cast<size_t>(start);
    r.length = static_cast<size_t>(end - start);
    r.utf8Location = Regex::utf8Offset(text, r.location);
    r.utf8Length = Regex::utf8Offset(text, r.location + r.length) - r.utf8Location;
    return r;
}

// The span of `group` in the current match; nothing when it took no part.
std::optional<Regex::Range> groupRange(const IcuLibrary& icu, URegularExpression* matcher, std::string_view text,
                                       int32_t group) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t start = icu.uregex_start(matcher, group, &status);
    int32_t end = icu.uregex_end(matcher, group, &status);
    if (U_FAILURE(status) || start < 0) return std::nullopt;
    return makeRange(text, start, end);
}

}  // namespace

std::optional<Regex> Regex::compile(std::string_view pattern, uint32_t options, std::string* error) {
    const IcuLibrary* icu = internal::sharedIcuLibrary();
    if (icu == nullptr) {
        if (error != nullptr) *error = "Unicode services unavailable";
        return std::nullopt;
    }
    auto impl = std::make_shared<Impl>();
    impl->pattern = std::string(pattern);
    impl->options = options;
    uint32_t flags = 0;
    if ((options & caseInsensitive) != 0) flags |= UREGEX_CASE_INSENSITIVE;
    UParseError parseError{};
    UErrorCode status = U_ZERO_ERROR;
    std::u16string source;
    toUTF16(pattern, source);
    impl->compiled = icu->uregex_open(reinterpret_cast<const UChar*>(source.data()),
                                      static_cast<int32_t>(source.size()), flags, &parseError, &status);
    if (U_FAILURE(status) || impl->compiled == nullptr) {
        if (error != nullptr)
            *error = std::string(icu->u_errorName(status)) + " at offset " + std::to_string(parseError.offset);
        return std::nullopt;
    }
    UErrorCode groupStatus = U_ZERO_ERROR;
    int32_t group = icu->uregex_groupNumberFromName(impl->compiled, u"id", -1, &groupStatus);
    impl->idGroup = U_SUCCESS(groupStatus) ? group : -1;
    return Regex(std::move(impl));
}

const std::string& Regex::pattern() const { return _impl->pattern; }
uint32_t Regex::options() const { return _impl->options; }
bool Regex::hasIDGroup() const { return _impl->idGroup > 0; }

std::optional<Regex::Match> Regex::firstMatch(std::string_view text) const {
    URegularExpression* matcher = matcherFor(_impl, text);
    if (matcher == nullptr) return std::nullopt;
    const IcuLibrary& icu = *internal::sharedIcuLibrary();
    UErrorCode status = U_ZERO_ERROR;
    if (!icu.uregex_find(matcher, 0, &status) || U_FAILURE(status)) return std::nullopt;
    auto whole = groupRange(icu, matcher, text, 0);
    if (!whole) return std::nullopt;
    Match match;
    match.range = *whole;
    if (_impl->idGroup > 0) match.id = groupRange(icu, matcher, text, _impl->idGroup);
    return match;
}

std::vector<std::optional<std::string>> Regex::captureGroups(std::string_view text) const {
    std::vector<std::optional<std::string>> groups;
    URegularExpression* matcher = matcherFor(_impl, text);
    if (matcher == nullptr) return groups;
    const IcuLibrary& icu = *internal::sharedIcuLibrary();
    UErrorCode status = U_ZERO_ERROR;
    if (!icu.uregex_find(matcher, 0, &status) || U_FAILURE(status)) return groups;
    int32_t count = icu.uregex_groupCount(matcher, &status);
    for (int32_t g = 0; g <= count; ++g) {
        auto range = groupRange(icu, matcher, text, g);
        groups.push_back(range ? std::optional<std::string>(substring(text, *range)) : std::nullopt);
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
