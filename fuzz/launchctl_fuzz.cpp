// Parses arbitrary bytes as "launchctl print-disabled" output, with both
// word pairs. None of it may crash, and every key must come out as the
// parser promises: no quotes, tabs, colons or line feeds, nothing to trim.
#include "startup/ItemsStatusManager.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

void check(const Core::ItemsStatusManager::DisabledItems& items) {
    for (const auto& [key, disabled] : items) {
        (void)disabled;
        if (key.find_first_of("\"\t:\n\r") != std::string::npos) std::abort();
        if (!key.empty() && (key.front() == ' ' || key.back() == ' ')) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    check(Core::ItemsStatusManager::parseDisabledItems(text, "disabled"));
    check(Core::ItemsStatusManager::parseDisabledItems(text, "true"));
    return 0;
}
