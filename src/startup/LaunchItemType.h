#pragma once
// LaunchItemType: the kind of a startup item. An application's login item
// carries its AppLoginItemInfo; agents and daemons carry nothing.
//
// Threading: a plain value.
//
//   auto type = Core::LaunchItemType::appLoginItem({*app, std::nullopt});
//   if (const auto* info = type.appLoginItemInfo()) use(info->appBundle.bundleID);

#include "startup/AppLoginItemInfo.h"

#include <optional>
#include <string_view>

namespace Core {

class LaunchItemType {
public:
    enum class Kind { appLoginItem, userAgent, globalAgent, globalDaemon };

    static LaunchItemType appLoginItem(AppLoginItemInfo itemInfo) {
        return LaunchItemType(Kind::appLoginItem, std::move(itemInfo));
    }
    static LaunchItemType userAgent() { return LaunchItemType(Kind::userAgent, std::nullopt); }
    static LaunchItemType globalAgent() { return LaunchItemType(Kind::globalAgent, std::nullopt); }
    static LaunchItemType globalDaemon() { return LaunchItemType(Kind::globalDaemon, std::nullopt); }

    Kind kind() const { return _kind; }
    // The carried value of an application's login item; null for the others.
    const AppLoginItemInfo* appLoginItemInfo() const { return _itemInfo ? &*_itemInfo : nullptr; }

    // "appLoginItem", "userAgent", "globalAgent" or "globalDaemon".
    std::string_view name() const;

    friend bool operator==(const LaunchItemType&, const LaunchItemType&) = default;

private:
    LaunchItemType(Kind kind, std::optional<AppLoginItemInfo> itemInfo) : _kind(kind), _itemInfo(std::move(itemInfo)) {}

    Kind _kind;
    std::optional<AppLoginItemInfo> _itemInfo;
};

}  // namespace Core
