#pragma once
// SimulatedSmcDevice: a controller that holds a fixed key table, for tests
// and the console host's --table. It answers command 9 and 5 for the
// table's keys (5 gives the stored bytes followed by zeros) and command 8 at
// index i with the key of entry i; it adds no key of its own. It counts the
// key-information commands it received.
//
// A table file is JSON: an array of {"key": K, "type": T, "bytes": HEX} in
// index order; K and T are four printable ASCII characters, HEX is 0 to 32
// bytes as the controller stores them.
//
// Threading: any thread.
//
//   std::string error;
//   auto device = platform::SimulatedSmcDevice::load("table.json", error);
//   if (device) platform::SmcDevice::setShared(device);

#include "platform/SmcDevice.h"

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class SimulatedSmcDevice final : public SmcDevice {
public:
    explicit SimulatedSmcDevice(std::vector<SmcKeyEntry> entries);

    // Reads a table file; null with `error` naming the file and the cause.
    static std::shared_ptr<SimulatedSmcDevice> load(const std::string& path, std::string& error);
    // Parses a table's text; null with the cause in `error`.
    static std::shared_ptr<SimulatedSmcDevice> parse(std::string_view text, std::string& error);

    int callStructMethod(uint32_t selector, const SmcRecord& input, SmcRecord& output) override;

    // How many key-information commands (9) were received.
    uint64_t keyInfoCalls() const { return _keyInfoCalls.load(); }
    const std::vector<SmcKeyEntry>& entries() const { return _entries; }

private:
    const std::vector<SmcKeyEntry> _entries;
    std::atomic<uint64_t> _keyInfoCalls{0};
};

}  // namespace platform
