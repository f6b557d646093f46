#pragma once
// Whose a hit of the rule walk is. A hit that carries no identifier belongs
// to the application the walk was run for; one that names any of its bundle
// identifiers, bundle names or its organization belongs to it under that
// name; anything else belongs to another application.
//
// findAppFiles runs the walk for one application and keeps what it owns,
// marking each owned FileInfo `used` so that later sweeps of the same
// finder know it was claimed. The folder "/Library/Application Support/Apple"
// is marked but never kept: it holds the system's own files.
//
// Threading: AppFileOwnership is a plain value. findAppFiles runs on the
// caller's thread, under the FileFinder's one-walk-at-a-time rule.
//
//   auto app = Core::makeMacApp(bundles);
//   std::vector<Core::AppFileInfo> files = Core::findAppFiles(finder, *app);
//   auto sized = Core::sizeAppFiles(files);

#include "Core/finder/AppFileInfo.h"
#include "Core/finder/FileFinder.h"
#include "Core/foundation/AppFile.h"
#include "Core/foundation/MacApp.h"

#include <optional>

namespace Core {

class AppFileOwnership {
public:
    // Takes a copy of the application's identifiers now.
    explicit AppFileOwnership(const MacApp& app);

    // The owner of a hit with the captured `id`; nothing when the hit is
    // not this application's.
    std::optional<App> owner(const std::optional<CaseInsensitiveString>& id) const;

private:
    CaseInsensitiveString _bundleID;
    std::optional<CaseInsensitiveString> _organization;
    MacApp::IDSet _bundleIDs;
    MacApp::IDSet _bundleNames;
};

// One walk of `finder` over the matchers of `app`'s bundle identifier; the
// owned hits in the order of discovery.
std::vector<AppFileInfo> findAppFiles(FileFinder& finder, const MacApp& app);

}  // namespace Core
