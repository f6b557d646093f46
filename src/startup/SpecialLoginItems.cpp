#include "startup/SpecialLoginItems.h"

#include "platform/LoginItemsList.h"
#include "startup/SpecialItemInserter.h"

namespace Core {

bool addSpecialLoginItem(const platform::URL& url) {
    auto list = platform::LoginItemsList::create();
    if (!list) return false;
    return SpecialItemInserter().insertItem(platform::fileURLWithPath(url.path()), *list);
}

bool removeSpecialLoginItem(const platform::URL& url) {
    auto list = platform::LoginItemsList::create();
    if (!list) return false;
    auto snapshot = list->copySnapshot();
    if (!snapshot) return false;
    const std::string target = platform::fileURLWithPath(url.path()).absoluteString();
    for (const auto& item : *snapshot) {
        auto resolved = platform::LoginItemsList::resolvedURL(item);
        if (!resolved) continue;
        if (resolved->absoluteString() == target) list->removeItem(item);
    }
    return true;
}

std::optional<std::vector<platform::URL>> sessionLoginItemURLs() {
    auto list = platform::LoginItemsList::create();
    if (!list) return std::nullopt;
    auto snapshot = list->copySnapshot();
    if (!snapshot) return std::nullopt;
    std::vector<platform::URL> urls;
    for (const auto& item : *snapshot)
        if (auto url = platform::LoginItemsList::resolvedURL(item)) urls.push_back(std::move(*url));
    return urls;
}

}  // namespace Core
