#include "platform/Strings.h"

#include "platform/internal/IcuLibrary.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <vector>

namespace platform {

namespace {

bool isASCII(std::string_view s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

using internal::IcuLibrary;

std::string toUTF8(const IcuLibrary& icu, const std::u16string& s) {
    std::string out(s.size() * 3 + 1, '\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    icu.u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &length, reinterpret_cast<const UChar*>(s.data()),
                static_cast<int32_t>(s.size()), &status);
    if (U_FAILURE(status)) return {};
    out.resize(static_cast<size_t>(length));
    return out;
}

}  // namespace

int caseInsensitiveCompare(std::string_view a, std::string_view b) {
    if (isASCII(a) && isASCII(b)) {
        size_t n = std::min(a.size(), b.size());
        for (size_t i = 0; i < n; ++i) {
            char x = asciiLower(a[i]);
            char y = asciiLower(b[i]);
            if (x != y) return x < y ? -1 : 1;
        }
        return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
    }
    const IcuLibrary* icu = internal::sharedIcuLibrary();
    if (icu == nullptr) return a.compare(b) < 0 ? -1 : (a == b ? 0 : 1);
    std::u16string ua, ub;
    toUTF16(a, ua);
    toUTF16(b, ub);
    UErrorCode status = U_ZERO_ERROR;
    int32_t r = icu->u_strCaseCompare(reinterpret_cast<const UChar*>(ua.data()), static_cast<int32_t>(ua.size()),
                                 reinterpret_cast<const UChar*>(ub.data()), static_cast<int32_t>(ub.size()),
                                 U_FOLD_CASE_DEFAULT, &status);
    if (U_FAILURE(status)) return a.compare(b) < 0 ? -1 : (a == b ? 0 : 1);
    return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

std::string lowercase(std::string_view text) {
    if (isASCII(text)) {
        std::string out(text);
        for (char& c : out) c = asciiLower(c);
        return out;
    }
    const IcuLibrary* icu = internal::sharedIcuLibrary();
    if (icu == nullptr) return std::string(text);
    std::u16string u;
    toUTF16(text, u);
    std::u16string out(u.size() * 2 + 1, u'\0');
    for (int attempt = 0; attempt < 2; ++attempt) {
        UErrorCode status = U_ZERO_ERROR;
        int32_t length = icu->u_strToLower(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                                      reinterpret_cast<const UChar*>(u.data()), static_cast<int32_t>(u.size()), "",
                                      &status);
        if (status == U_BUFFER_OVERFLOW_ERROR) {
            out.assign(static_cast<size_t>(length) + 1, u'\0');
            continue;
        }
        if (U_FAILURE(status)) return std::string(text);
        out.resize(static_cast<size_t>(length));
        return toUTF8(*icu, out);
    }
    return std::string(text);
}

void toUTF16(std::string_view text, std::u16string& out) {
    out.clear();
    out.reserve(text.size());  // never more units than bytes
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    int32_t i = 0;
    while (i < length) {
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c < 0) c = 0xFFFD;
        if (U16_LENGTH(c) == 1) {
            out.push_back(static_cast<char16_t>(c));
        } else {
            out.push_back(static_cast<char16_t>(U16_LEAD(c)));
            out.push_back(static_cast<char16_t>(U16_TRAIL(c)));
        }
    }
}

bool isValidUTF8(std::string_view text) {
    int32_t i = 0;
    const auto length = static_cast<int32_t>(text.size());
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    while (i < length) {
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c < 0) return false;
    }
    return true;
}

std::vector<std::string_view> splitNonEmpty(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(separator, start);
        if (end == std::string_view::npos) end = text.size();
        if (end > start) pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

}  // namespace platform
