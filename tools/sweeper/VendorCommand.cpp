// sweeper vendor ID: the vendor, the display group and the organization of a
// bundle identifier, from the documents of the resources folder.
#include "Command.h"
#include "Output.h"

#include "Core/apps/AppGroupManager.h"
#include "Core/apps/PublicSuffixList.h"

#include <memory>
#include <string>

namespace sweeper {
namespace {

CommandRegistration reg{
    {"vendor"}, "The vendor, group and organization of a bundle identifier",
    [](CLI::App& cmd, Globals&) -> Action {
        auto id = std::make_shared<std::string>();
        cmd.add_option("ID", *id, "A bundle identifier")->required();
        return [id] {
            const auto& groups = Core::AppGroupManager::shared();
            auto group = groups.get(*id);
            auto organization = Core::PublicSuffixList::shared().organizationName(*id);
            printOrderedJson(nlohmann::ordered_json{{"id", *id},
                       {"vendor", std::string(Core::rawValue(groups.getVender(*id)))},
                       {"group", group ? nlohmann::ordered_json(group->groupName()) : nlohmann::ordered_json(nullptr)},
                       {"organization", organization ? nlohmann::ordered_json(*organization) : nlohmann::ordered_json(nullptr)}});
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
