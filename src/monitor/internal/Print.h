#pragma once
// How the monitor prints what it has to say: one line to the platform's
// log (standard error, or a test's handler), printf-style like the
// original messages; a trailing newline of the format is the line's end.

#include <string>

namespace Core::internal {

void printLine(const std::string& text);
[[gnu::format(printf, 1, 2)]] void printFormat(const char* format, ...);
// The text of a service return code, or "unknown error".
std::string errorText(int code);

}  // namespace Core::internal
