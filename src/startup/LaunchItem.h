#pragma once
// LaunchItem: one thing that starts with the machine or the user's session:
// a launch agent or daemon (its property list) or an application's login
// item (the application), with its enabled state, read and changed through
// launchd and the session's login items list.
//
// State. Agents, daemons and login item bundles are looked up by their
// launchd name (the property list's "Label", or the login item bundle's
// identifier) in ItemsStatusManager's disabled labels: not listed reads as
// not enabled. A property list's own "Disabled" key plays no part. An
// application without a login item bundle is enabled while it is in the
// session's login items list.
//
// Changes run "/bin/launchctl enable|disable user/<uid>/<name>" and refresh
// ItemsStatusManager; a change to the state the item already has, or a
// disable of an unlisted name, returns false without running anything.
// Applications without a login item bundle are added to or removed from the
// login items list instead.
//
// Threading: a value; the state calls may run on any thread and block while
// the tools run.
//
//   Core::LaunchItem agent(platform::URL::fileURL(plist), Core::LaunchItemType::userAgent());
//   if (agent.isAutoStartEnabled()) agent.setAutoStartEnabled(false);

#include "startup/LaunchItemType.h"
#include "startup/LaunchStatus.h"
#include "startup/LaunchStatusUpdatable.h"
#include "platform/URL.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace Core {

class LaunchItem : public LaunchStatus, public LaunchStatusUpdatable {
public:
    LaunchItem(platform::URL url, LaunchItemType itemType) : _url(std::move(url)), _itemType(std::move(itemType)) {}

    // The property list, or the application.
    const platform::URL& url() const { return _url; }
    const LaunchItemType& itemType() const { return _itemType; }

    // The identifier the item goes by: an agent's or daemon's label ("" with
    // none), a login item bundle's identifier, or the application's when it
    // has no login item bundle.
    std::string bundleId() const;

    // "Label" of the property list at url() when it is a string.
    std::optional<std::string> getPlistItemLabel() const;

    bool isAutoStartEnabled() const override;
    // True when something was changed.
    bool setAutoStartEnabled(bool enabled) const override;

    friend bool operator==(const LaunchItem& a, const LaunchItem& b) {
        return a._url == b._url && a._itemType == b._itemType;
    }

private:
    // Whether the item is an application without a login item bundle, which
    // lives in the session's login items list instead of launchd.
    bool isSessionLoginItem() const;
    // The name launchd knows the item by; nothing when it has none.
    std::optional<std::string> launchdName() const;

    platform::URL _url;
    LaunchItemType _itemType;
};

}  // namespace Core

template <>
struct std::hash<Core::LaunchItem> {
    size_t operator()(const Core::LaunchItem& item) const noexcept {
        size_t seed = std::hash<platform::URL>{}(item.url());
        seed ^= static_cast<size_t>(item.itemType().kind()) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
        if (const auto* info = item.itemType().appLoginItemInfo(); info != nullptr && info->loginItemBundle)
            seed ^= std::hash<platform::URL>{}(info->loginItemBundle->url) + (seed << 6) + (seed >> 2);
        return seed;
    }
};
