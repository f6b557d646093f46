#pragma once
// makeMacApp: the MacApp of one installed application, from the bundles
// that the listing found under its identifier. The first bundle's
// identifier names it; the rule document adds further identifiers and an
// organization, and failing that the public suffix list gives the
// organization. Every bundle adds its own identifiers, names and URL.
//
// Threading: any thread; reads the shared RuleManager and PublicSuffixList.
//
//   auto app = Core::makeMacApp(apps.at("com.example.Notes"));
//   auto wanted = Core::AppFileRule::all().matcherIDs(app->bundleID().origin());

#include "Core/apps/AppBundle.h"
#include "Core/foundation/MacApp.h"

#include <memory>
#include <vector>

namespace Core {

// `bundles` must not be empty.
std::shared_ptr<MacApp> makeMacApp(const std::vector<std::shared_ptr<AppBundle>>& bundles);

}  // namespace Core
