// Parses arbitrary bytes as the plain text of the uninstall script table.
// Whatever the bytes, the parse must end, and a failed one must leave the
// table empty.
#include "Core/apps/UninstallScriptsManager.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Core::UninstallScriptsManager manager(std::string_view(reinterpret_cast<const char*>(data), size));
    if (manager.error() && !manager.uninstallScripts().empty()) std::abort();
    for (const auto& [id, entry] : manager.uninstallScripts())
        if (!entry.id || !(*entry.id == id)) std::abort();
    return 0;
}
