#include "monitor/SMC.h"

#include "monitor/SMCFunctions.h"
#include "monitor/internal/Print.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace Core {

namespace {

// The fixed-point types: the divisor of the unsigned big-endian number.
// "sp669" has five characters, so a type read from the controller never
// matches it; it stays for the scale it names.
struct FixedPoint {
    const char* type;
    double divisor;
};
constexpr FixedPoint kFixedPoint[] = {
    {"sp1e", 16384}, {"sp3c", 4096}, {"sp5b", 2048}, {"sp5a", 1024}, {"sp669", 512}, {"sp78", 256},
    {"sp87", 128},   {"sp96", 64},   {"spb4", 16},   {"spf0", 1},
};

}  // namespace

struct SMC::Value {
    std::string key;
    std::string dataType;
    uint32_t dataSize = 0;
    std::array<uint8_t, 32> bytes{};
};

SMC& SMC::shared() {
    static SMC* instance = new SMC();
    return *instance;
}

SMC::SMC() {
    int result = platform::smcServiceOpen(conn);
    if (result == platform::smc::kReturnNoDevice) {
        conn = 0;
        internal::printLine("Error IOIteratorNext(): " + internal::errorText(result));
    } else if (result != 0) {
        conn = 0;
        internal::printLine("Error IOServiceOpen(): " + internal::errorText(result));
    }
}

SMC::~SMC() {
    int32_t result = close();
    if (result != 0) internal::printLine("error close smc connection: " + internal::errorText(result));
}

int32_t SMC::close() { return platform::smcServiceClose(conn); }

int SMC::read(Value& value) {
    if (value.key.size() != 4) return platform::smc::kReturnBadArgument;
    SMCKeyData_t input{};
    SMCKeyData_t output{};
    input.key = platform::smc::fourCharCode(value.key);
    input.data8 = SMC_CMD_READ_KEYINFO;
    int result = SMCCall2(KERNEL_INDEX_SMC, &input, &output, conn);
    if (result != 0) return result;
    value.dataSize = output.keyInfo.dataSize;
    value.dataType = platform::smc::fourCharText(output.keyInfo.dataType);
    input.keyInfo.dataSize = value.dataSize;
    input.data8 = SMC_CMD_READ_BYTES;
    output = {};
    result = SMCCall2(KERNEL_INDEX_SMC, &input, &output, conn);
    if (result != 0) return result;
    std::memcpy(value.bytes.data(), output.bytes, std::min<size_t>(value.dataSize, value.bytes.size()));
    return 0;
}

std::optional<double> SMC::getValue(const std::string& key) {
    Value value;
    value.key = key;
    int result = read(value);
    if (result != 0) {
        internal::printLine("Error read(" + key + "): " + internal::errorText(result));
        return std::nullopt;
    }
    if (value.dataSize == 0) return std::nullopt;
    bool allZero = std::all_of(value.bytes.begin(), value.bytes.end(), [](uint8_t b) { return b == 0; });
    if (allZero && key != "FS! " && key != "F0Md" && key != "F1Md") return std::nullopt;
    const auto& b = value.bytes;
    const unsigned n = b[0] * 256u + b[1];
    const std::string& type = value.dataType;
    if (type == "ui8 ") return b[0];
    if (type == "ui16") return n;
    if (type == "ui32") return (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) | b[3];
    for (const auto& fixed : kFixedPoint)
        if (type == fixed.type) return n / fixed.divisor;
    if (type == "flt ") {
        float number = 0;
        std::memcpy(&number, b.data(), sizeof number);
        return number;
    }
    if (type == "fpe2") return static_cast<double>(b[0] * 64u + b[1] / 4u);
    return std::nullopt;
}

std::optional<std::string> SMC::getStringValue(const std::string& key) {
    Value value;
    value.key = key;
    int result = read(value);
    if (result != 0) {
        internal::printLine("Error read(): " + internal::errorText(result));
        return std::nullopt;
    }
    bool allZero = std::all_of(value.bytes.begin(), value.bytes.end(), [](uint8_t b) { return b == 0; });
    if (value.dataSize == 0 || allZero) return std::nullopt;
    if (value.dataType != "{fds") {
        internal::printLine("unsupported data type " + value.dataType + " for key: " + key);
        return std::nullopt;
    }
    std::string text(value.bytes.begin() + 4, value.bytes.begin() + 16);
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; };
    auto first = std::find_if_not(text.begin(), text.end(), isSpace);
    auto last = std::find_if_not(text.rbegin(), text.rend(), isSpace).base();
    return first < last ? std::string(first, last) : std::string();
}

std::vector<std::string> SMC::getAllKeys() {
    std::vector<std::string> keys;
    auto count = getValue("#KEY");
    if (!count) {
        internal::printLine("ERROR no keys count found");
        return keys;
    }
    auto last = static_cast<uint64_t>(*count);
    for (uint64_t index = 0; index <= last; ++index) {
        SMCKeyData_t input{};
        SMCKeyData_t output{};
        input.data8 = SMC_CMD_READ_INDEX;
        input.data32 = static_cast<uint32_t>(index);
        if (SMCCall2(KERNEL_INDEX_SMC, &input, &output, conn) == 0) keys.push_back(platform::smc::fourCharText(output.key));
    }
    return keys;
}

}  // namespace Core
