// sweeper bundle PATH: the identifiers and names of an application bundle
// and of the bundles nested in it, as the application scan reads them (an
// ordinary application, else a wrapped iOS application whose containers are
// looked up in the home folder of --home).
#include "Command.h"
#include "Output.h"

#include "Core/apps/AppBundleLoader.h"

#include <filesystem>
#include <memory>
#include <string>

namespace sweeper {
namespace {

nlohmann::ordered_json texts(const std::vector<Core::CaseInsensitiveString>& list) {
    nlohmann::ordered_json out = nlohmann::ordered_json::array();
    for (const auto& item : list) out.push_back(item.origin());
    return out;
}

CommandRegistration reg{
    {"bundle"}, "Read an application bundle: its identifier and those of the bundles nested in it",
    [](CLI::App& cmd, Globals&) -> Action {
        auto path = std::make_shared<std::string>();
        cmd.add_option("PATH", *path, "The application bundle")->required();
        return [path] {
            std::error_code ec;
            const std::string absolute = std::filesystem::absolute(*path, ec).lexically_normal().string();
            Core::AppBundleLoader loader;
            auto bundle = loader.load(platform::URL::fileURL(ec ? *path : absolute));
            if (!bundle) throw CommandError(*path + " is no application bundle");
            printOrderedJson(nlohmann::ordered_json{{"bundleID", bundle->bundleID().origin()},
                       {"bundleIDs", texts(bundle->bundleIDs())},
                       {"bundleNames", texts(bundle->bundleNames())}});
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
