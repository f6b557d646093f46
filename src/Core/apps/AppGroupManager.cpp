#include "Core/apps/AppGroupManager.h"

#include "Core/apps/internal/OptionalResource.h"
#include "Core/rules/ResourceError.h"
#include "platform/Strings.h"

#include <algorithm>

namespace Core {

namespace {

// A document that can't be had counts as empty; the log says why.
std::vector<DecodableGroup> readGroupResource(const std::string& name) {
    auto text = internal::readOptionalResource(name, "yaml", "no entries");
    if (!text) return {};
    try {
        return decodeGroupDocument(*text, name + ".yaml");
    } catch (const ResourceError& e) {
        internal::logResourceProblem(e.what(), "no entries");
        return {};
    }
}

}  // namespace

const AppGroupManager& AppGroupManager::shared() {
    static const AppGroupManager* instance = new AppGroupManager(fromResources());
    return *instance;
}

AppGroupManager AppGroupManager::fromResources() {
    return AppGroupManager(readGroupResource("app_vender"), readGroupResource("app_group"));
}

AppGroupManager::AppGroupManager(const std::vector<DecodableGroup>& venders, const std::vector<DecodableGroup>& groups) {
    for (const auto& record : venders) {
        if (!record.name) continue;
        auto vender = appVender(*record.name);
        if (!vender) continue;
        if (record.domain && !record.domain->empty()) {
            std::string domain = platform::lowercase(*record.domain);
            auto known = std::find_if(_venderDomainDict.begin(), _venderDomainDict.end(),
                                      [&](const auto& entry) { return entry.first == domain; });
            if (known != _venderDomainDict.end()) known->second = *vender;
            else _venderDomainDict.emplace_back(std::move(domain), *vender);
        }
        auto& ids = _appVenderIDDict[*vender];
        if (record.ids)
            for (const auto& id : *record.ids) ids.insert(platform::lowercase(id));
    }
    for (const auto& record : groups) {
        if (!record.name) continue;
        AppGroup group = AppGroup::named(*record.name);
        auto known = std::find_if(_appGroupsIDDict.begin(), _appGroupsIDDict.end(),
                                  [&](const auto& entry) { return entry.first == group; });
        if (known == _appGroupsIDDict.end()) known = _appGroupsIDDict.insert(known, {group, {}});
        if (record.ids) known->second.insert(record.ids->begin(), record.ids->end());
    }
}

AppVender AppGroupManager::getVender(const CaseInsensitiveString& id) const {
    const std::string lowered = id.lowercaseString();
    for (const auto& [domain, vender] : _venderDomainDict)
        if (lowered.starts_with(domain)) return vender;
    for (const auto& [vender, ids] : _appVenderIDDict)
        if (ids.contains(lowered)) return vender;
    return AppVender::other;
}

std::optional<AppGroup> AppGroupManager::get(const CaseInsensitiveString& id) const {
    for (const auto& [group, ids] : _appGroupsIDDict)
        if (ids.contains(id.origin())) return group;
    return std::nullopt;
}

}  // namespace Core
