#pragma once
// Test doubles for the controller: every test's key table sits behind one
// forwarding device, installed before Core::SMC::shared() opens its
// connection, so the shared client and the plain functions both reach it.

#include "monitor/SMCFunctions.h"
#include "platform/SimulatedSmcDevice.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace monitor_testing {

class ForwardingSmcDevice final : public platform::SmcDevice {
public:
    int callStructMethod(uint32_t selector, const platform::SmcRecord& input, platform::SmcRecord& output) override {
        std::shared_ptr<platform::SmcDevice> target;
        {
            std::lock_guard lock(_mutex);
            target = _target;
        }
        return target ? target->callStructMethod(selector, input, output) : platform::smc::kReturnNotFound;
    }
    void setTarget(std::shared_ptr<platform::SmcDevice> target) {
        std::lock_guard lock(_mutex);
        _target = std::move(target);
    }

private:
    std::mutex _mutex;
    std::shared_ptr<platform::SmcDevice> _target;
};

inline std::shared_ptr<ForwardingSmcDevice> forwardingDevice() {
    static auto device = std::make_shared<ForwardingSmcDevice>();
    return device;
}

// Puts `device` behind both clients for the scope, with a fresh key cache.
class ScopedSmc {
public:
    explicit ScopedSmc(std::shared_ptr<platform::SmcDevice> device) {
        platform::SmcDevice::setShared(forwardingDevice());
        forwardingDevice()->setTarget(std::move(device));
        Core::SMCResetForTesting();
    }
    ~ScopedSmc() {
        forwardingDevice()->setTarget(nullptr);
        Core::SMCResetForTesting();
    }
    ScopedSmc(const ScopedSmc&) = delete;
    ScopedSmc& operator=(const ScopedSmc&) = delete;
};

// A simulated controller of `entries` behind both clients for the scope.
class ScopedSmcTable {
public:
    explicit ScopedSmcTable(std::vector<platform::SmcKeyEntry> entries)
        : _device(std::make_shared<platform::SimulatedSmcDevice>(std::move(entries))), _scope(_device) {}
    platform::SimulatedSmcDevice& device() { return *_device; }

private:
    std::shared_ptr<platform::SimulatedSmcDevice> _device;
    ScopedSmc _scope;
};

inline platform::SmcKeyEntry key(const std::string& name, const std::string& type, std::vector<uint8_t> bytes) {
    return platform::SmcKeyEntry::make(name, type, std::move(bytes));
}

// A "flt " value as the controller keeps it: in the machine's byte order.
inline std::vector<uint8_t> floatBytes(float number) {
    std::vector<uint8_t> bytes(sizeof number);
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

// Degrees as the controller keeps them in "sp78".
inline platform::SmcKeyEntry sp78(const std::string& name, double celsius) {
    auto n = static_cast<unsigned>(celsius * 256 + 0.5);
    return key(name, "sp78", {static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n & 0xFF)});
}

}  // namespace monitor_testing
