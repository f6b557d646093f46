#include "Core/apps/MacAppBuilder.h"

#include "Core/apps/PublicSuffixList.h"
#include "Core/rules/RuleManager.h"

#include <cassert>

namespace Core {

std::shared_ptr<MacApp> makeMacApp(const std::vector<std::shared_ptr<AppBundle>>& bundles) {
    assert(!bundles.empty());
    const CaseInsensitiveString& id = bundles.front()->bundleID();
    auto extra = RuleManager::shared().extraInfo(id.origin());
    std::optional<CaseInsensitiveString> organization = extra.organization;
    if (!organization) organization = CaseInsensitiveString::from(PublicSuffixList::shared().organizationName(id.origin()));

    auto app = MacApp::make(id, std::move(organization));
    MacApp::IDSet ids{id};
    ids.insert(extra.ids.begin(), extra.ids.end());
    for (const auto& bundle : bundles) {
        ids.insert(bundle->bundleIDs().begin(), bundle->bundleIDs().end());
        app->bundleNames.insert(bundle->bundleNames().begin(), bundle->bundleNames().end());
        app->urls.push_back(bundle->url());
    }
    app->setBundleIDs(std::move(ids));
    return app;
}

}  // namespace Core
