// Parses arbitrary bytes as a property list, XML or binary, then writes the
// tree back in both forms and parses those again. None of it may crash.
// (Parsing the written form may fail: a binary list can hold strings that
// are not UTF-8, which no written form carries over.)
#include "platform/PropertyList.h"

#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto parsed = platform::parsePropertyList(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!parsed) return 0;
    platform::parsePropertyList(platform::toBinaryPropertyList(*parsed));
    platform::parsePropertyList(platform::toXmlPropertyList(*parsed));
    return 0;
}
