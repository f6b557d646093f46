#pragma once
// SmcDevice: the system management controller as the platform's service
// reaches it: one call that takes an 80-byte record in and gives one back
// (method 2 of the controller's user client). Stands in for the service's
// matching, opening, struct call and closing, with connections as 32-bit
// handles. The default controller answers fans and temperatures from hwmon
// (HwmonSmcDevice); tests and the console host install a SimulatedSmcDevice.
//
// Threading: shared(), setShared() and the connection functions may be
// called from any thread; a device's call must be thread-safe.
//
//   uint32_t conn = 0;
//   if (platform::smcServiceOpen(conn) == 0) {
//       platform::smcConnectCallStructMethod(conn, 2, &in, 80, &out, &size);
//       platform::smcServiceClose(conn);
//   }

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

namespace smc {

// Where the fields of the 80-byte record lie; numbers in the machine's order.
inline constexpr size_t kRecordSize = 80;
inline constexpr size_t kKeyOffset = 0;
inline constexpr size_t kDataSizeOffset = 28;
inline constexpr size_t kDataTypeOffset = 32;
inline constexpr size_t kDataAttributesOffset = 36;
inline constexpr size_t kResultOffset = 40;
inline constexpr size_t kCommandOffset = 42;
inline constexpr size_t kIndexOffset = 44;
inline constexpr size_t kBytesOffset = 48;
inline constexpr size_t kBytesSize = 32;

inline constexpr uint32_t kStructMethod = 2;
inline constexpr uint8_t kReadBytes = 5;
inline constexpr uint8_t kReadIndex = 8;
inline constexpr uint8_t kReadKeyInfo = 9;
// What the controller puts in `result` for a key it doesn't have.
inline constexpr uint8_t kKeyNotFound = 132;

// Return codes of the service, as the platform numbers them.
inline constexpr int kReturnSuccess = 0;
inline constexpr int kReturnError = static_cast<int>(0xE00002BC);
inline constexpr int kReturnNoDevice = static_cast<int>(0xE00002C0);
inline constexpr int kReturnBadArgument = static_cast<int>(0xE00002C2);
inline constexpr int kReturnNotFound = static_cast<int>(0xE00002F0);
inline constexpr int kSendInvalidDestination = 0x10000003;

// Four characters as a 32-bit number, the first in the top byte; shorter
// texts are padded with zero bytes.
uint32_t fourCharCode(std::string_view text);
// The four characters of a code, top byte first.
std::string fourCharText(uint32_t code);

}  // namespace smc

using SmcRecord = std::array<uint8_t, smc::kRecordSize>;

class SmcDevice {
public:
    virtual ~SmcDevice() = default;
    // One struct call with `selector` as the method number. 0 on success,
    // otherwise a service return code. `output` starts zeroed.
    virtual int callStructMethod(uint32_t selector, const SmcRecord& input, SmcRecord& output) = 0;

    // The machine's controller; null when there is none.
    static std::shared_ptr<SmcDevice> shared();
    // Installs `device` for connections opened from now on (null restores
    // the machine's).
    static void setShared(std::shared_ptr<SmcDevice> device);
};

// One key of a controller's table: what command 9 describes and command 5
// gives (at most 32 bytes, as the controller stores them).
struct SmcKeyEntry {
    uint32_t key = 0;
    uint32_t type = 0;
    std::vector<uint8_t> bytes;

    static SmcKeyEntry make(std::string_view key, std::string_view type, std::vector<uint8_t> bytes);
};

// Answers one call from a table of keys: command 9 and 5 for the table's
// keys, command 8 at index i with the key of entry i. Any other key, index,
// command or method fails with a non-zero code.
int answerFromKeyTable(const std::vector<SmcKeyEntry>& entries, uint32_t selector, const SmcRecord& input,
                       SmcRecord& output);

// The service's connection calls. Open gives kReturnNoDevice when there is
// no controller; a call or close on a handle that isn't open gives
// kSendInvalidDestination.
int smcServiceOpen(uint32_t& connection);
int smcServiceClose(uint32_t connection);
int smcConnectCallStructMethod(uint32_t connection, uint32_t selector, const void* input, size_t inputSize,
                               void* output, size_t* outputSize);

// The text of a return code, as the platform's error-string lookup gives
// it; nothing for a code it doesn't know.
const char* machErrorString(int code);

}  // namespace platform
