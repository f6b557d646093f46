#include "monitor/SMCFunctions.h"

#include "monitor/internal/Print.h"

#include <cstdio>
#include <cstring>

namespace Core {

namespace {

constexpr int kKeyInfoCacheSize = 100;

uint32_t g_conn = 0;
uint32_t g_keyInfoCacheKeys[kKeyInfoCacheSize];
SMCKeyData_keyInfo_t g_keyInfoCache[kKeyInfoCacheSize];
int g_keyInfoCacheCount = 0;

}  // namespace

int SMCOpen() {
    int result = platform::smcServiceOpen(g_conn);
    if (result == platform::smc::kReturnNoDevice) {
        internal::printLine("Error: no SMC found");
        return static_cast<int>(0xE00002C0);
    }
    if (result != 0) {
        internal::printFormat("Error: IOServiceOpen() = %08x\n", static_cast<unsigned>(result));
        return result;
    }
    return 0;
}

int SMCClose() { return platform::smcServiceClose(g_conn); }

int SMCCall2(uint32_t index, SMCKeyData_t* input, SMCKeyData_t* output, uint32_t connection) {
    size_t outputSize = sizeof(SMCKeyData_t);
    return platform::smcConnectCallStructMethod(connection, index, input, sizeof(SMCKeyData_t), output, &outputSize);
}

int SMCGetKeyInfo(uint32_t key, SMCKeyData_keyInfo_t* keyInfo, uint32_t connection) {
    for (int i = 0; i < g_keyInfoCacheCount; ++i) {
        if (g_keyInfoCacheKeys[i] == key) {
            *keyInfo = g_keyInfoCache[i];
            return 0;
        }
    }
    SMCKeyData_t input{};
    SMCKeyData_t output{};
    input.key = key;
    input.data8 = SMC_CMD_READ_KEYINFO;
    int result = SMCCall2(KERNEL_INDEX_SMC, &input, &output, connection);
    if (result != 0) return result;
    *keyInfo = output.keyInfo;
    if (g_keyInfoCacheCount < kKeyInfoCacheSize) {
        g_keyInfoCacheKeys[g_keyInfoCacheCount] = key;
        g_keyInfoCache[g_keyInfoCacheCount] = output.keyInfo;
        ++g_keyInfoCacheCount;
    }
    return 0;
}

int SMCReadKey2(const char* key, SMCVal_t* val, uint32_t connection) {
    std::memset(val, 0, sizeof *val);
    // A key is four characters; anything else would be read past its end.
    if (key == nullptr || strnlen(key, 5) != 4) return platform::smc::kReturnBadArgument;
    SMCKeyData_t input{};
    SMCKeyData_t output{};
    input.key = _strtoul(key, 4, 16);
    std::memcpy(val->key, key, 4);
    int result = SMCGetKeyInfo(input.key, &input.keyInfo, connection);
    if (result != 0) return result;
    val->dataSize = input.keyInfo.dataSize;
    _ultostr(val->dataType, input.keyInfo.dataType);
    input.data8 = SMC_CMD_READ_BYTES;
    result = SMCCall2(KERNEL_INDEX_SMC, &input, &output, connection);
    if (result != 0) return result;
    std::memcpy(val->bytes, output.bytes, sizeof(SMCBytes_t));
    return 0;
}

int SMCReadKey(const char* key, SMCVal_t* val) { return SMCReadKey2(key, val, g_conn); }

float SMCFloatFromVal(SMCVal_t val) {
    if (val.dataSize == 0) return -1.0f;
    auto byte = [&](int i) { return static_cast<uint8_t>(val.bytes[i]); };
    if (val.dataSize == 4 && std::strcmp(val.dataType, "flt ") == 0) {
        float value = 0;
        std::memcpy(&value, val.bytes, sizeof value);
        return value;
    }
    if (val.dataSize == 2 && std::strcmp(val.dataType, "fpe2") == 0) return _strtof(val.bytes, 2, 2);
    if (val.dataSize == 2 && std::strcmp(val.dataType, "ui16") == 0) return static_cast<float>(byte(0) * 256 + byte(1));
    if (val.dataSize == 1 && std::strcmp(val.dataType, "ui8 ") == 0) return static_cast<float>(byte(0));
    return -1.0f;
}

float SMCGetSP78(SMCVal_t val) {
    unsigned n = static_cast<uint8_t>(val.bytes[0]) * 256u + static_cast<uint8_t>(val.bytes[1]);
    return static_cast<float>(n * 0.00390625);
}

uint32_t _strtoul(const char* str, int size, int base) {
    uint32_t total = 0;
    for (int i = 0; i < size; ++i) {
        int shift = (size - 1 - i) * 8;
        if (shift >= 32) continue;  // shifted out of the 32 bits
        uint32_t byte = base == 16 ? static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(str[i])))
                                   : static_cast<uint32_t>(static_cast<unsigned char>(str[i]));
        total += byte << shift;
    }
    return total;
}

void _ultostr(char* str, uint32_t val) {
    std::snprintf(str, 5, "%c%c%c%c", static_cast<unsigned>(val >> 24) & 0xFF, static_cast<unsigned>(val >> 16) & 0xFF,
                  static_cast<unsigned>(val >> 8) & 0xFF, static_cast<unsigned>(val) & 0xFF);
}

float _strtof(const char* str, int size, int e) {
    // Outside these the shifts below would mean nothing.
    if (size < 1 || e < 0 || e > 8) return 0.0f;
    float total = 0;
    for (int i = 0; i < size - 1; ++i) {
        int shift = (size - 1 - i) * (8 - e);
        if (shift < 32) total += static_cast<float>(static_cast<uint32_t>(static_cast<uint8_t>(str[i])) << shift);
    }
    auto last = static_cast<uint8_t>(str[size - 1]);
    total += static_cast<float>(last >> e);
    return total + static_cast<float>(last & 0x03) * 0.25f;
}

void SMCResetForTesting() {
    g_conn = 0;
    g_keyInfoCacheCount = 0;
}

int SMCKeyInfoCacheCountForTesting() { return g_keyInfoCacheCount; }

}  // namespace Core
