#include "startup/StartupBundle.h"

#include "platform/Bundle.h"

namespace Core {

std::optional<StartupBundle> StartupBundle::read(const platform::URL& url) {
    auto info = platform::readApplicationBundle(url);
    if (!info) return std::nullopt;
    return StartupBundle{url, std::move(info->identifier), std::move(info->name)};
}

}  // namespace Core
