// sweeper scripts: the uninstall script table parsed from the resources
// folder's "scripts.txt", texts exactly as the parser gathered them.
#include "Command.h"
#include "Output.h"

#include "Core/apps/UninstallScriptsManager.h"
#include "platform/ResourceBundle.h"

#include <algorithm>

namespace sweeper {
namespace {

nlohmann::ordered_json optionalText(const std::optional<std::string>& text) {
    return text ? nlohmann::ordered_json(*text) : nlohmann::ordered_json(nullptr);
}

CommandRegistration reg{
    {"scripts"}, "List the uninstall scripts of the resources folder", [](CLI::App&, Globals&) -> Action {
        return [] {
            auto path = platform::ResourceBundle::shared().pathForResource("scripts", "txt");
            auto manager = path ? Core::UninstallScriptsManager::fromEncipheredFile(*path) : Core::UninstallScriptsManager();
            if (manager.error()) throw CommandError(*path + ": " + *manager.error());
            std::vector<const Core::UninstallScript*> entries;
            for (const auto& [id, entry] : manager.uninstallScripts()) entries.push_back(&entry);
            std::sort(entries.begin(), entries.end(), [](auto a, auto b) { return a->id->origin() < b->id->origin(); });
            nlohmann::ordered_json list = nlohmann::ordered_json::array();
            for (const auto* entry : entries) {
                list.push_back({{"id", entry->id->origin()},
                                {"useAdminPrivileges", entry->useAdminPrivileges},
                                {"uninstaller", optionalText(entry->uninstallerScript)},
                                {"script", optionalText(entry->scriptString)}});
            }
            printOrderedJson(nlohmann::ordered_json{{"scripts", list}});
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
