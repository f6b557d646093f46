#include "monitor/internal/Print.h"

#include "platform/Analytics.h"
#include "platform/SmcDevice.h"

#include <cstdarg>
#include <cstdio>

namespace Core::internal {

void printLine(const std::string& text) {
    std::string line = text;
    if (!line.empty() && line.back() == '\n') line.pop_back();
    platform::log(line);
}

void printFormat(const char* format, ...) {
    char buffer[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    printLine(buffer);
}

std::string errorText(int code) {
    const char* text = platform::machErrorString(code);
    return text != nullptr ? text : "unknown error";
}

}  // namespace Core::internal
