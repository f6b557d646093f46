#include "platform/SystemVersion.h"

#include "platform/Layout.h"
#include "platform/PropertyList.h"

#include <charconv>
#include <string>
#include <string_view>

namespace platform {

namespace {

constexpr const char* kSystemVersionPath = "/System/Library/CoreServices/SystemVersion.plist";

// Reads a leading run of digits; false when there is none or it overflows.
bool readNumber(std::string_view& text, long& out) {
    const char* end = text.data() + text.size();
    auto [next, error] = std::from_chars(text.data(), end, out);
    if (error != std::errc() || out < 0) return false;
    text.remove_prefix(static_cast<size_t>(next - text.data()));
    return true;
}

}  // namespace

OperatingSystemVersion operatingSystemVersion() {
    OperatingSystemVersion fallback;
    auto plist = readPropertyListFile(Layout::shared().systemPath(kSystemVersionPath));
    if (!plist) return fallback;
    const PlistValue* product = plist->find("ProductVersion");
    if (product == nullptr || product->string() == nullptr) return fallback;

    std::string_view text = *product->string();
    OperatingSystemVersion version;
    if (!readNumber(text, version.majorVersion)) return fallback;
    version.minorVersion = 0;
    version.patchVersion = 0;
    for (long* part : {&version.minorVersion, &version.patchVersion}) {
        if (text.empty() || text.front() != '.') break;
        text.remove_prefix(1);
        if (!readNumber(text, *part)) {
            *part = 0;
            break;
        }
    }
    return version;
}

}  // namespace platform
