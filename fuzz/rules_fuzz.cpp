// Feeds arbitrary bytes to the readers of the shipped documents: as an
// enciphered document (deciphering), as a rule document (YAML decoding and
// compiling into rules), and as a vendor or group document. A bad document
// may be refused with ResourceError; nothing may crash.
#include "Core/rules/DecodableGroup.h"
#include "Core/rules/DecodableRule.h"
#include "Core/rules/ResourceError.h"
#include "Core/rules/Resources.h"
#include "Core/rules/RuleManager.h"
#include "platform/Layout.h"

#include <cstdint>
#include <string_view>

namespace {

void decodeAll(std::string_view text) {
    try {
        Core::RuleManager manager(text, platform::Layout::shared(), "ruleInfo.txt");
    } catch (const Core::ResourceError&) {
    }
    try {
        Core::decodeGroupDocument(text, "app_group.yaml");
    } catch (const Core::ResourceError&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    decodeAll(bytes);
    if (auto text = Core::decipherResourceText(bytes)) decodeAll(*text);
    return 0;
}
