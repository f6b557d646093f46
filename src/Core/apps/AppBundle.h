#pragma once
// AppBundle: an installed application's bundle as the scanners see it: its
// location, its bundle identifier, and the identifiers and names of every
// bundle nested inside it (helpers, plug-ins, extensions, frameworks'
// services), which all leave files under their own identifiers.
//
// Threading: a loaded bundle is a plain value built and read by one scanning
// thread; hand it to others once loadNestedBundles() has run.
//
//   Core::AppBundleLoader loader;
//   if (auto bundle = loader.load(platform::URL::fileURL("/Applications/Notes.app")))
//       for (const auto& id : bundle->bundleIDs()) use(id);

#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/URL.h"

#include <vector>

namespace Core {

class AppBundle {
public:
    virtual ~AppBundle() = default;

    virtual const platform::URL& url() const = 0;
    virtual const CaseInsensitiveString& bundleID() const = 0;
    // The bundle's own identifier first, then those found by the walk.
    virtual const std::vector<CaseInsensitiveString>& bundleIDs() const = 0;
    virtual const std::vector<CaseInsensitiveString>& bundleNames() const = 0;
    // Completes bundleIDs() and bundleNames() by the walk of this kind of
    // bundle. Call it once; what can't be read adds nothing.
    virtual void loadNestedBundles() = 0;
};

}  // namespace Core
