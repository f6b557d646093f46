// sweeper sensors: fans and temperatures from the controller and the HID
// temperature services.
#include "Command.h"
#include "MonitorSources.h"
#include "Output.h"

namespace sweeper {
namespace {

const CommandRegistration registration{
    {"sensors"}, "Fans and temperatures",
    [](CLI::App& cmd, Globals& globals) -> Action {
        auto table = std::make_shared<std::string>();
        auto hid = std::make_shared<std::string>();
        cmd.add_option("--table", *table, "A JSON key table for a simulated controller");
        cmd.add_option("--hid", *hid, "A JSON list of simulated HID temperature services");
        return [table, hid, &globals] {
            if (!table->empty()) installSmcTable(*table);
            if (!hid->empty()) installHidServices(*hid);
            SensorReadings readings = readSensors();
            if (globals.json) {
                nlohmann::json document = nlohmann::json::object();
                addSensorsJson(document, readings);
                printJson(document);
            } else {
                printSensorsText(readings);
            }
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
