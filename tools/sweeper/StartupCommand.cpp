// sweeper startup [enable|disable PATH]: the startup items, found as a host
// finds them (the finder's delegate, on the main loop), each with its type,
// label and enabled state; or one item switched on or off. PATH is a listed
// property list, a login item bundle inside an application
// ("<app>/Contents/Library/LoginItems/<x>.app"), or an application, which is
// then added to or removed from the session's login items list.
#include "Command.h"
#include "Output.h"

#include "platform/Dispatch.h"
#include "platform/Layout.h"
#include "platform/LoginItemsList.h"
#include "startup/LaunchItemsFinder.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sweeper {
namespace {

using nlohmann::json;

struct StartupOptions {
    std::string action;
    std::string path;
};

class Collector final : public Core::LaunchItemsFinderDelegate {
public:
    void launchItemsFinderDidFind(const Core::LaunchItem& item) override { items.push_back(item); }
    void launchItemsFinderDidFinish() override { finished = true; }

    std::vector<Core::LaunchItem> items;
    bool finished = false;
};

std::vector<Core::LaunchItem> searchLaunchItems() {
    auto collector = std::make_shared<Collector>();
    auto finder = Core::makeLaunchItemsFinder(collector);
    finder->start();
    if (!platform::dispatch::runMainLoopUntil([&] { return collector->finished; }, std::chrono::minutes(5)))
        throw CommandError("the startup items search did not finish");
    return std::move(collector->items);
}

std::optional<std::string> loginItemIdentifier(const Core::LaunchItem& item) {
    const auto* info = item.itemType().appLoginItemInfo();
    if (info == nullptr || !info->loginItemBundle) return std::nullopt;
    return info->loginItemBundle->bundleID;
}

int listItems(const Globals& g) {
    auto items = searchLaunchItems();
    if (g.json) {
        json list = json::array();
        for (const auto& item : items) {
            auto label = item.getPlistItemLabel();
            auto loginItem = loginItemIdentifier(item);
            list.push_back({{"path", item.url().path()},
                            {"type", std::string(item.itemType().name())},
                            {"label", label ? json(*label) : json(nullptr)},
                            {"enabled", item.isAutoStartEnabled()},
                            {"loginItem", loginItem ? json(*loginItem) : json(nullptr)}});
        }
        printJson({{"items", list}});
        return 0;
    }
    for (const auto& item : items) {
        std::string name = item.getPlistItemLabel().value_or(loginItemIdentifier(item).value_or("-"));
        std::printf("%-12s  %-8s  %s  %s\n", std::string(item.itemType().name()).c_str(),
                    item.isAutoStartEnabled() ? "enabled" : "disabled", name.c_str(), item.url().path().c_str());
    }
    if (!g.quiet) std::fprintf(stderr, "%zu startup items\n", items.size());
    return 0;
}

// The item PATH stands for; nothing when it is none of the three kinds.
std::optional<Core::LaunchItem> itemAt(const std::string& path) {
    for (auto& item : searchLaunchItems())
        if (item.itemType().appLoginItemInfo() == nullptr && item.url().path() == path) return std::move(item);

    const platform::URL url = platform::fileURLWithPath(path);
    const platform::URL folder = url.deletingLastPathComponent();
    const platform::URL contents = folder.deletingLastPathComponent().deletingLastPathComponent();
    if (folder.lastPathComponent() == "LoginItems" &&
        folder.deletingLastPathComponent().lastPathComponent() == "Library" && contents.lastPathComponent() == "Contents") {
        auto app = Core::StartupBundle::read(platform::fileURLWithPath(contents.deletingLastPathComponent().path()));
        auto loginItem = Core::StartupBundle::read(url);
        if (app && loginItem)
            return Core::LaunchItem(app->url, Core::LaunchItemType::appLoginItem({*app, std::move(*loginItem)}));
    }
    if (auto app = Core::StartupBundle::read(url))
        return Core::LaunchItem(url, Core::LaunchItemType::appLoginItem({std::move(*app), std::nullopt}));
    return std::nullopt;
}

int changeItem(const Globals& g, bool enable, const std::string& given) {
    std::error_code ec;
    std::string path = std::filesystem::absolute(given, ec).lexically_normal().string();
    path = platform::trimTrailingSlashes(ec ? given : path);
    auto item = itemAt(path);
    if (!item)
        throw CommandError("not a listed launch agent or daemon, a login item bundle or an application: " + path);
    const bool changed = item->setAutoStartEnabled(enable);
    if (g.json)
        printJson({{"changed", changed}});
    else
        std::printf("%s: %s\n", changed ? (enable ? "enabled" : "disabled") : "unchanged", path.c_str());
    return 0;
}

CommandRegistration startupCommand{
    {"startup"}, "List the startup items, or enable or disable one",
    [](CLI::App& cmd, Globals& g) -> Action {
        auto o = std::make_shared<StartupOptions>();
        cmd.add_option("ACTION", o->action, "enable or disable (none: list every item)");
        cmd.add_option("PATH", o->path, "A listed property list, a login item bundle or an application");
        return [o, &g] {
            if (o->action.empty()) return listItems(g);
            if ((o->action != "enable" && o->action != "disable") || o->path.empty())
                throw CommandError("use: startup [enable|disable PATH]", 2);
            return changeItem(g, o->action == "enable", o->path);
        };
    }};

}  // namespace
}  // namespace sweeper
