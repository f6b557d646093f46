#pragma once
// Text helpers with the platform's semantics: case-insensitive comparison
// (as a string's caseInsensitiveCompare) and lowercasing, through ICU with
// an ASCII fast path. All functions are pure and thread-safe. Input is
// UTF-8; each ill-formed sequence is read as U+FFFD.

#include <string>
#include <string_view>
#include <vector>

namespace platform {

// -1, 0 or 1: the order of `a` and `b` with case folded, compared in UTF-16
// code units as the platform does.
int caseInsensitiveCompare(std::string_view a, std::string_view b);
// The lowercased form (root locale).
std::string lowercase(std::string_view text);
// `text` as UTF-16 in `out` (what it held is replaced), each ill-formed
// sequence read as U+FFFD, as the platform's strings read bytes.
void toUTF16(std::string_view text, std::u16string& out);
// True when `text` is well-formed UTF-8.
bool isValidUTF8(std::string_view text);
// The pieces of `text` between `separator`s, empty ones dropped ("/a//b/"
// gives "a", "b"). The views point into `text`.
std::vector<std::string_view> splitNonEmpty(std::string_view text, char separator);

}  // namespace platform
