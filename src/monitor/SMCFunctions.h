#pragma once
// The SMC plain functions: the controller's open connection (`g_conn`), a
// cache of up to 100 keys' information, reads of one key into an SMCVal_t,
// and the decoders of its bytes. GetFans and GetCPUTemperature are built on
// them. Failures come back as the service's return code, and the messages
// go to the log.
//
// Threading: module state without a lock: one thread at a time.
//
//   SMCOpen();
//   SMCVal_t value;
//   if (SMCReadKey("TC0P", &value) == 0) show(SMCGetSP78(value));
//   SMCClose();

#include "monitor/SMCKeyData.h"

#include <cstdint>

namespace Core {

// Opens `g_conn`; 0 on success.
int SMCOpen();
// Closes `g_conn`.
int SMCClose();
// The bare struct call, `index` being the method number.
int SMCCall2(uint32_t index, SMCKeyData_t* input, SMCKeyData_t* output, uint32_t connection);
// A key's information, from the cache or by command 9 (then cached while
// the cache holds fewer than 100 keys).
int SMCGetKeyInfo(uint32_t key, SMCKeyData_keyInfo_t* keyInfo, uint32_t connection);
// Reads `key` (four characters) into `val`, which is cleared first.
int SMCReadKey2(const char* key, SMCVal_t* val, uint32_t connection);
int SMCReadKey(const char* key, SMCVal_t* val);

float SMCFloatFromVal(SMCVal_t val);
// The first two bytes as an unsigned big-endian number over 256.
float SMCGetSP78(SMCVal_t val);

// The `size` bytes of `str` as a big-endian number; base 16 takes each byte
// as signed, any other base as unsigned. 0 for a size below 1.
uint32_t _strtoul(const char* str, int size, int base);
// The four bytes of `val`, top byte first, and a terminator (five bytes).
void _ultostr(char* str, uint32_t val);
// The fixed-point decoder for a value with `e` fraction bits.
float _strtof(const char* str, int size, int e);

// Empties the key-information cache and forgets the connection.
void SMCResetForTesting();
// How many keys the cache holds.
int SMCKeyInfoCacheCountForTesting();

}  // namespace Core
