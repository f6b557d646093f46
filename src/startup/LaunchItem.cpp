#include "startup/LaunchItem.h"

#include "Core/files/PlistContent.h"
#include "startup/ItemsStatusManager.h"
#include "startup/SpecialLoginItems.h"
#include "startup/internal/LaunchTools.h"

namespace Core {

bool LaunchItem::isSessionLoginItem() const {
    const auto* info = _itemType.appLoginItemInfo();
    return info != nullptr && !info->loginItemBundle;
}

std::optional<std::string> LaunchItem::launchdName() const {
    if (const auto* info = _itemType.appLoginItemInfo()) {
        if (info->loginItemBundle) return info->loginItemBundle->bundleID;
        return std::nullopt;
    }
    return getPlistItemLabel();
}

std::string LaunchItem::bundleId() const {
    if (isSessionLoginItem()) return _itemType.appLoginItemInfo()->appBundle.bundleID;
    return launchdName().value_or("");
}

std::optional<std::string> LaunchItem::getPlistItemLabel() const {
    auto content = readPlistContent(_url.path());
    if (!content) return std::nullopt;
    auto label = content->find("Label");
    if (label == content->end() || label->second.string() == nullptr) return std::nullopt;
    return *label->second.string();
}

bool LaunchItem::isAutoStartEnabled() const {
    auto& status = ItemsStatusManager::shared();
    if (isSessionLoginItem()) return status.containsSpecialApp(_itemType.appLoginItemInfo()->appBundle.url);
    auto name = launchdName();
    if (!name) return false;
    auto disabled = status.disabledEntry(*name);
    return disabled && !*disabled;
}

bool LaunchItem::setAutoStartEnabled(bool enabled) const {
    auto& status = ItemsStatusManager::shared();
    if (isSessionLoginItem()) {
        const platform::URL& app = _itemType.appLoginItemInfo()->appBundle.url;
        const bool result = enabled ? addSpecialLoginItem(app) : removeSpecialLoginItem(app);
        status.refresh();
        return result;
    }

    auto name = launchdName();
    const std::optional<bool> disabled = name ? status.disabledEntry(*name) : std::nullopt;
    if (disabled && *disabled == !enabled) return false;  // already in that state
    if (!disabled && !enabled) return false;              // unlisted already reads as not enabled
    if (!name) return false;

    const std::string purpose = std::string(enabled ? "enabling \"" : "disabling \"") + *name + "\"";
    if (!internal::launchToolAvailable(internal::kLaunchctlTool, purpose)) return false;
    auto uid = internal::currentUserNumber(purpose);
    if (!uid) return false;
    internal::runLaunchTool(internal::kLaunchctlTool, {enabled ? "enable" : "disable", "user/" + *uid + "/" + *name},
                            purpose);
    status.refresh();
    return true;
}

}  // namespace Core
