// sweeper smc keys|read|plain: the controller's keys and values, through
// Core::SMC and through the plain functions.
#include "Command.h"
#include "MonitorSources.h"
#include "Output.h"

#include "monitor/SMC.h"
#include "monitor/SMCFunctions.h"

#include <algorithm>
#include <cstdio>

namespace sweeper {
namespace {

struct SmcOptions {
    std::string table;
    std::vector<std::string> keys;
};

std::shared_ptr<platform::SimulatedSmcDevice> prepare(const SmcOptions& options) {
    checkKeys(options.keys);
    return options.table.empty() ? nullptr : installSmcTable(options.table);
}

int runKeys(const SmcOptions& options, const Globals& globals) {
    prepare(options);
    auto keys = Core::SMC::shared().getAllKeys();
    if (globals.json) {
        printJson({{"keys", keys}});
    } else {
        for (const auto& key : keys) std::printf("%s\n", key.c_str());
    }
    return 0;
}

int runRead(const SmcOptions& options, const Globals& globals) {
    prepare(options);
    auto values = nlohmann::json::array();
    for (const auto& key : options.keys) {
        auto value = Core::SMC::shared().getValue(key);
        auto text = Core::SMC::shared().getStringValue(key);
        values.push_back({{"key", key},
                          {"value", value ? nlohmann::json(*value) : nullptr},
                          {"string", text ? nlohmann::json(*text) : nullptr}});
        if (!globals.json)
            std::printf("%s\t%s\t%s\n", key.c_str(), value ? std::to_string(*value).c_str() : "-",
                        text ? text->c_str() : "-");
    }
    if (globals.json) printJson({{"values", values}});
    return 0;
}

std::string hex(const char* bytes, size_t count) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        auto byte = static_cast<unsigned char>(bytes[i]);
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

int runPlain(const SmcOptions& options, const Globals& globals) {
    auto table = prepare(options);
    auto values = nlohmann::json::array();
    Core::SMCOpen();
    for (const auto& key : options.keys) {
        Core::SMCVal_t val;
        int result = Core::SMCReadKey(key.c_str(), &val);
        std::string bytes = hex(val.bytes, std::min<size_t>(val.dataSize, sizeof val.bytes));
        float number = Core::SMCFloatFromVal(val);
        float sp78 = Core::SMCGetSP78(val);
        values.push_back({{"key", key}, {"result", result}, {"dataSize", val.dataSize},
                          {"dataType", std::string(val.dataType)}, {"bytes", bytes}, {"float", number},
                          {"sp78", sp78}});
        if (!globals.json)
            std::printf("%s\tresult %d\tsize %u\ttype \"%s\"\tbytes %s\tfloat %g\tsp78 %g\n", key.c_str(), result,
                        val.dataSize, val.dataType, bytes.c_str(), number, sp78);
    }
    Core::SMCClose();
    nlohmann::json document = {{"values", values}};
    if (table) document["infoCalls"] = table->keyInfoCalls();
    if (globals.json)
        printJson(document);
    else if (table)
        std::printf("key information commands: %llu\n", static_cast<unsigned long long>(table->keyInfoCalls()));
    return 0;
}

Setup setup(int (*run)(const SmcOptions&, const Globals&), bool takesKeys) {
    return [run, takesKeys](CLI::App& cmd, Globals& globals) -> Action {
        auto options = std::make_shared<SmcOptions>();
        cmd.add_option("--table", options->table, "A JSON key table for a simulated controller");
        if (takesKeys) cmd.add_option("KEY", options->keys, "Four-character keys, in order")->required();
        return [run, options, &globals] { return run(*options, globals); };
    };
}

const CommandRegistration keysRegistration{{"smc", "keys"}, "List the controller's keys", setup(runKeys, false)};
const CommandRegistration readRegistration{
    {"smc", "read"}, "Read keys as numbers and strings through the SMC class", setup(runRead, true)};
const CommandRegistration plainRegistration{
    {"smc", "plain"}, "Read keys through the plain functions in one connection", setup(runPlain, true)};

}  // namespace
}  // namespace sweeper
