#include "platform/SimulatedSmcDevice.h"

#include "platform/internal/RegularFile.h"

#include <nlohmann/json.hpp>

#include <set>

namespace platform {

namespace {

// Tables and sensor lists are written by hand or by tests: small.
constexpr size_t kMaxTableFileSize = size_t(1) << 20;

bool isFourPrintable(const std::string& text) {
    if (text.size() != 4) return false;
    for (char c : text)
        if (c < 0x20 || c > 0x7E) return false;
    return true;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string describe(size_t index, const std::string& what) {
    return "entry " + std::to_string(index) + ": " + what;
}

}  // namespace

SimulatedSmcDevice::SimulatedSmcDevice(std::vector<SmcKeyEntry> entries) : _entries(std::move(entries)) {}

std::shared_ptr<SimulatedSmcDevice> SimulatedSmcDevice::load(const std::string& path, std::string& error) {
    auto text = internal::readRegularFile(path, kMaxTableFileSize);
    if (!text) {
        error = "cannot read the SMC table " + path;
        return nullptr;
    }
    auto device = parse(*text, error);
    if (!device) error = "bad SMC table " + path + ": " + error;
    return device;
}

std::shared_ptr<SimulatedSmcDevice> SimulatedSmcDevice::parse(std::string_view text, std::string& error) {
    nlohmann::json document = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
    if (document.is_discarded()) {
        error = "not JSON";
        return nullptr;
    }
    if (!document.is_array()) {
        error = "not an array of keys";
        return nullptr;
    }
    std::vector<SmcKeyEntry> entries;
    std::set<std::string> seen;
    for (size_t i = 0; i < document.size(); ++i) {
        const auto& item = document[i];
        if (!item.is_object()) {
            error = describe(i, "not an object");
            return nullptr;
        }
        auto text = [&](const char* name) -> const std::string* {
            auto found = item.find(name);
            return found != item.end() && found->is_string() ? found->get_ptr<const std::string*>() : nullptr;
        };
        const std::string* key = text("key");
        const std::string* type = text("type");
        const std::string* hex = text("bytes");
        if (!key || !isFourPrintable(*key)) {
            error = describe(i, "\"key\" is not four printable characters");
            return nullptr;
        }
        if (!type || !isFourPrintable(*type)) {
            error = describe(i, "\"type\" is not four printable characters");
            return nullptr;
        }
        if (!hex || hex->size() % 2 != 0 || hex->size() > 2 * smc::kBytesSize) {
            error = describe(i, "\"bytes\" is not hex of 0 to 32 bytes");
            return nullptr;
        }
        std::vector<uint8_t> bytes;
        for (size_t j = 0; j < hex->size(); j += 2) {
            int high = hexDigit((*hex)[j]);
            int low = hexDigit((*hex)[j + 1]);
            if (high < 0 || low < 0) {
                error = describe(i, "\"bytes\" is not hex");
                return nullptr;
            }
            bytes.push_back(static_cast<uint8_t>(high * 16 + low));
        }
        if (!seen.insert(*key).second) {
            error = describe(i, "the key \"" + *key + "\" is repeated");
            return nullptr;
        }
        entries.push_back(SmcKeyEntry::make(*key, *type, std::move(bytes)));
    }
    return std::make_shared<SimulatedSmcDevice>(std::move(entries));
}

int SimulatedSmcDevice::callStructMethod(uint32_t selector, const SmcRecord& input, SmcRecord& output) {
    if (selector == smc::kStructMethod && input[smc::kCommandOffset] == smc::kReadKeyInfo) ++_keyInfoCalls;
    return answerFromKeyTable(_entries, selector, input, output);
}

}  // namespace platform
