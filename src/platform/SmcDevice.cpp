#include "platform/SmcDevice.h"

#include "platform/HwmonSmcDevice.h"
#include "platform/internal/Installed.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>

namespace platform {

namespace smc {

uint32_t fourCharCode(std::string_view text) {
    uint32_t code = 0;
    for (size_t i = 0; i < 4; ++i) code = (code << 8) | (i < text.size() ? static_cast<uint8_t>(text[i]) : 0u);
    return code;
}

std::string fourCharText(uint32_t code) {
    std::string text(4, '\0');
    for (size_t i = 0; i < 4; ++i) text[i] = static_cast<char>((code >> (24 - 8 * i)) & 0xFF);
    return text;
}

}  // namespace smc

namespace {

internal::Installed<SmcDevice, HwmonSmcDevice> installedDevice;

struct Connections {
    std::mutex lock;
    std::map<uint32_t, std::shared_ptr<SmcDevice>> open;
    uint32_t next = 0x1103;
};

Connections& connections() {
    static Connections* table = new Connections;  // outlives every static destructor that may close
    return *table;
}

uint32_t readNumber(const SmcRecord& record, size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, record.data() + offset, sizeof value);
    return value;
}

void writeNumber(SmcRecord& record, size_t offset, uint32_t value) {
    std::memcpy(record.data() + offset, &value, sizeof value);
}

}  // namespace

std::shared_ptr<SmcDevice> SmcDevice::shared() { return installedDevice.get(); }

void SmcDevice::setShared(std::shared_ptr<SmcDevice> device) { installedDevice.set(std::move(device)); }

SmcKeyEntry SmcKeyEntry::make(std::string_view key, std::string_view type, std::vector<uint8_t> bytes) {
    return {smc::fourCharCode(key), smc::fourCharCode(type), std::move(bytes)};
}

int answerFromKeyTable(const std::vector<SmcKeyEntry>& entries, uint32_t selector, const SmcRecord& input,
                       SmcRecord& output) {
    if (selector != smc::kStructMethod) return smc::kReturnBadArgument;
    uint8_t command = input[smc::kCommandOffset];
    if (command == smc::kReadIndex) {
        uint32_t index = readNumber(input, smc::kIndexOffset);
        if (index >= entries.size()) return smc::kReturnNotFound;
        writeNumber(output, smc::kKeyOffset, entries[index].key);
        return smc::kReturnSuccess;
    }
    if (command != smc::kReadBytes && command != smc::kReadKeyInfo) return smc::kReturnBadArgument;
    uint32_t key = readNumber(input, smc::kKeyOffset);
    writeNumber(output, smc::kKeyOffset, key);
    for (const auto& entry : entries) {
        if (entry.key != key) continue;
        if (command == smc::kReadKeyInfo) {
            writeNumber(output, smc::kDataSizeOffset, static_cast<uint32_t>(entry.bytes.size()));
            writeNumber(output, smc::kDataTypeOffset, entry.type);
        } else {
            std::copy_n(entry.bytes.begin(), std::min(entry.bytes.size(), smc::kBytesSize),
                        output.begin() + smc::kBytesOffset);
        }
        return smc::kReturnSuccess;
    }
    output[smc::kResultOffset] = smc::kKeyNotFound;
    return smc::kReturnNotFound;
}

int smcServiceOpen(uint32_t& connection) {
    auto device = SmcDevice::shared();
    if (!device) return smc::kReturnNoDevice;
    auto& table = connections();
    std::lock_guard lock(table.lock);
    connection = table.next++;
    table.open[connection] = std::move(device);
    return smc::kReturnSuccess;
}

int smcServiceClose(uint32_t connection) {
    auto& table = connections();
    std::lock_guard lock(table.lock);
    return table.open.erase(connection) == 1 ? smc::kReturnSuccess : smc::kSendInvalidDestination;
}

int smcConnectCallStructMethod(uint32_t connection, uint32_t selector, const void* input, size_t inputSize,
                               void* output, size_t* outputSize) {
    std::shared_ptr<SmcDevice> device;
    {
        auto& table = connections();
        std::lock_guard lock(table.lock);
        auto found = table.open.find(connection);
        if (found == table.open.end()) return smc::kSendInvalidDestination;
        device = found->second;
    }
    if (input == nullptr || output == nullptr || outputSize == nullptr || inputSize != smc::kRecordSize ||
        *outputSize < smc::kRecordSize)
        return smc::kReturnBadArgument;
    SmcRecord in{};
    SmcRecord out{};
    std::memcpy(in.data(), input, smc::kRecordSize);
    int result = device->callStructMethod(selector, in, out);
    std::memcpy(output, out.data(), smc::kRecordSize);
    *outputSize = smc::kRecordSize;
    return result;
}

const char* machErrorString(int code) {
    switch (static_cast<uint32_t>(code)) {
        case 0: return "(os/kern) successful";
        case 0xE00002BC: return "(iokit/common) general error";
        case 0xE00002C0: return "(iokit/common) no such device";
        case 0xE00002C2: return "(iokit/common) invalid argument";
        case 0xE00002F0: return "(iokit/common) data was not found";
        case 0x10000003: return "(ipc/send) invalid destination port";
        default: return nullptr;
    }
}

}  // namespace platform
