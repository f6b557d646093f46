#pragma once
// SMCKeyData_t, the 80-byte record that goes to the system management
// controller and back, and SMCVal_t, the value record of the SMC plain
// functions. Numbers are in the machine's byte order, `bytes` as the
// controller stores the value (big-endian, "flt " in the machine's order).
//
// Threading: plain data.
//
//   SMCKeyData_t input{};
//   input.key = _strtoul("TC0P", 4, 16);
//   input.data8 = SMC_CMD_READ_KEYINFO;

#include "platform/SmcDevice.h"

#include <cstddef>
#include <cstdint>

namespace Core {

using SMCBytes_t = char[32];

inline constexpr uint8_t SMC_CMD_READ_BYTES = 5;
inline constexpr uint8_t SMC_CMD_READ_INDEX = 8;
inline constexpr uint8_t SMC_CMD_READ_KEYINFO = 9;
inline constexpr uint32_t KERNEL_INDEX_SMC = 2;

struct SMCKeyData_vers_t {
    uint8_t major;
    uint8_t minor;
    uint8_t build;
    uint8_t reserved;
    uint16_t release;
};

struct SMCKeyData_pLimitData_t {
    uint16_t version;
    uint16_t length;
    uint32_t cpuPLimit;
    uint32_t gpuPLimit;
    uint32_t memPLimit;
};

// Two-byte alignment, so that the record's `padding` follows at 38.
#pragma pack(push, 2)
struct SMCKeyData_keyInfo_t {
    uint32_t dataSize;
    uint32_t dataType;
    uint8_t dataAttributes;
};
#pragma pack(pop)

struct SMCKeyData_t {
    uint32_t key;
    SMCKeyData_vers_t vers;
    SMCKeyData_pLimitData_t pLimitData;
    SMCKeyData_keyInfo_t keyInfo;
    uint16_t padding;
    uint8_t result;
    uint8_t status;
    uint8_t data8;
    uint32_t data32;
    SMCBytes_t bytes;
};

static_assert(sizeof(SMCKeyData_t) == 80);
static_assert(offsetof(SMCKeyData_t, key) == platform::smc::kKeyOffset);
static_assert(offsetof(SMCKeyData_t, vers) == 4 && offsetof(SMCKeyData_t, vers.release) == 8);
static_assert(offsetof(SMCKeyData_t, pLimitData) == 12 && offsetof(SMCKeyData_t, pLimitData.length) == 14);
static_assert(offsetof(SMCKeyData_t, pLimitData.cpuPLimit) == 16 && offsetof(SMCKeyData_t, pLimitData.memPLimit) == 24);
static_assert(offsetof(SMCKeyData_t, keyInfo.dataSize) == platform::smc::kDataSizeOffset);
static_assert(offsetof(SMCKeyData_t, keyInfo.dataType) == platform::smc::kDataTypeOffset);
static_assert(offsetof(SMCKeyData_t, keyInfo.dataAttributes) == platform::smc::kDataAttributesOffset);
static_assert(offsetof(SMCKeyData_t, padding) == 38);
static_assert(offsetof(SMCKeyData_t, result) == platform::smc::kResultOffset);
static_assert(offsetof(SMCKeyData_t, status) == 41);
static_assert(offsetof(SMCKeyData_t, data8) == platform::smc::kCommandOffset);
static_assert(offsetof(SMCKeyData_t, data32) == platform::smc::kIndexOffset);
static_assert(offsetof(SMCKeyData_t, bytes) == platform::smc::kBytesOffset);

struct SMCVal_t {
    char key[5];
    uint32_t dataSize;
    char dataType[5];
    SMCBytes_t bytes;
};

}  // namespace Core
