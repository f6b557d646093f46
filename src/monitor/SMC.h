#pragma once
// Core::SMC: the second client of the system management controller, with a
// connection of its own and decoders for every data type it knows.
// getUniversalCPUTemperature reads through SMC::shared(). Failures print a
// message and give nothing.
//
// Threading: no lock; a read shares nothing but the connection.
//
//   if (auto value = Core::SMC::shared().getValue("TC0P")) show(*value);
//   for (const auto& key : Core::SMC::shared().getAllKeys()) list(key);

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Core {

class SMC {
public:
    // The one instance, made on first use and never destroyed.
    static SMC& shared();

    // Opens the connection; on failure prints why and keeps a zero one.
    SMC();
    // Closes the connection, printing "error close smc connection: " on failure.
    ~SMC();
    SMC(const SMC&) = delete;
    SMC& operator=(const SMC&) = delete;

    // The service's code for closing the connection.
    int32_t close();
    // The key's value decoded by its type; nothing when it can't be read,
    // is empty, is all zeros (except "FS! ", "F0Md" and "F1Md") or has a
    // type without a decoder.
    std::optional<double> getValue(const std::string& key);
    // Bytes 4 to 15 of a "{fds" value, trimmed.
    std::optional<std::string> getStringValue(const std::string& key);
    // Every key the controller lists, from index 0 to the "#KEY" count.
    std::vector<std::string> getAllKeys();

private:
    struct Value;
    int read(Value& value);

    uint32_t conn = 0;
};

}  // namespace Core
