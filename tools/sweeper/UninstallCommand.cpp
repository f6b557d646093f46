// sweeper uninstall ID...: the uninstall step for applications mapped to no
// files: their uninstallers run here, and the scripts meant for the
// privileged helper are printed with the success value, as the callback
// gave them.
#include "Command.h"
#include "Output.h"

#include "Core/apps/UninstallApp.h"

#include <memory>
#include <string>
#include <vector>

namespace sweeper {
namespace {

CommandRegistration reg{
    {"uninstall"}, "Run the uninstall scripts of applications and list what goes to the helper",
    [](CLI::App& cmd, Globals&) -> Action {
        auto ids = std::make_shared<std::vector<std::string>>();
        cmd.add_option("ID", *ids, "Bundle identifiers")->required();
        return [ids] {
            Core::UninstallAppInfos infos;
            for (const auto& id : *ids) infos.emplace(id, std::vector<std::string>{});
            nlohmann::ordered_json out;
            Core::uninstallApp(infos, [&](bool success, const auto& scripts, const auto& files) {
                out = {{"success", success}, {"scripts", scripts}, {"files", files}};
            });
            printOrderedJson(out);
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
