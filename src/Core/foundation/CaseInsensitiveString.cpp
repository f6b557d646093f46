#include "Core/foundation/CaseInsensitiveString.h"

#include "platform/Strings.h"

namespace Core {

namespace {

constexpr uint64_t kFnvOffset = 1469598103934665603ULL;
constexpr uint64_t kFnvPrime = 1099511628211ULL;

uint64_t fnv(uint64_t h, unsigned char c) { return (h ^ c) * kFnvPrime; }

}  // namespace

std::optional<CaseInsensitiveString> CaseInsensitiveString::from(const std::optional<std::string>& origin) {
    if (!origin) return std::nullopt;
    return CaseInsensitiveString(*origin);
}

std::string CaseInsensitiveString::lowercaseString() const { return platform::lowercase(_origin); }

size_t CaseInsensitiveString::hashValue() const {
    // ASCII text hashes its lowered bytes in place; only other text pays for
    // the full lowercasing. Both give the hash of lowercaseString().
    uint64_t h = kFnvOffset;
    for (char c : _origin) {
        auto u = static_cast<unsigned char>(c);
        if (u >= 0x80) {
            h = kFnvOffset;
            for (char l : lowercaseString()) h = fnv(h, static_cast<unsigned char>(l));
            return static_cast<size_t>(h);
        }
        h = fnv(h, (u >= 'A' && u <= 'Z') ? static_cast<unsigned char>(u + 32) : u);
    }
    return static_cast<size_t>(h);
}

bool operator==(const CaseInsensitiveString& a, const CaseInsensitiveString& b) {
    return platform::caseInsensitiveCompare(a._origin, b._origin) == 0;
}

std::weak_ordering operator<=>(const CaseInsensitiveString& a, const CaseInsensitiveString& b) {
    int r = platform::caseInsensitiveCompare(a._origin, b._origin);
    return r < 0 ? std::weak_ordering::less : (r > 0 ? std::weak_ordering::greater : std::weak_ordering::equivalent);
}

}  // namespace Core
