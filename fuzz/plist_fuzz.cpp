// Parses arbitrary bytes as a property list, XML or binary, then writes the
// tree back and parses that again: neither may crash, and what was parsed
// once must parse again.
#include "platform/PropertyList.h"

#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto parsed = platform::parsePropertyList(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!parsed) return 0;
    if (!platform::parsePropertyList(platform::toBinaryPropertyList(*parsed))) __builtin_trap();
    return 0;
}
