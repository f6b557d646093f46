#pragma once
// MacAppBundle: an ordinary application bundle ("Contents/Info.plist" and
// an executable in "Contents/MacOS"), and the walk that gathers the
// identifiers and names of the bundles nested in it.
//
// The walk goes through "Contents", in name order. A folder named
// "Frameworks", "MacOS", "Library", "LoginItems", "PlugIns", "Applications",
// "XPCServices", "Developer" or "SharedSupport" is entered; a ".framework"
// is entered at every version folder under its "Versions" (a framework has
// no identifier of its own here: its executable is not under "MacOS"); an
// ".app", ".appex", ".xpc", ".bundle", ".qlgenerator" or ".mdimporter" that
// reads as an application adds its identifier and name and is walked in
// turn through its own "Contents". Symbolic links are neither entered nor
// read, so no link can lead the walk out of the bundle or round in a loop
// (a framework's "Versions/Current" is one of its versions again).
//
// Threading: a plain value; see AppBundle.
//
//   if (auto app = Core::MacAppBundle::load(url)) { app->loadNestedBundles(); use(app->bundleIDs()); }

#include "Core/apps/AppBundle.h"

#include <optional>

namespace Core {

class MacAppBundle final : public AppBundle {
public:
    // The bundle at `url` read as an application; nothing when it is none
    // (no information dictionary, no string identifier, no executable in a
    // "MacOS" folder). bundleIDs() and bundleNames() start with its own.
    static std::optional<MacAppBundle> load(const platform::URL& url);

    const platform::URL& url() const override { return _url; }
    const CaseInsensitiveString& bundleID() const override { return _bundleID; }
    const std::vector<CaseInsensitiveString>& bundleIDs() const override { return _bundleIDs; }
    const std::vector<CaseInsensitiveString>& bundleNames() const override { return _bundleNames; }
    void loadNestedBundles() override;

private:
    MacAppBundle(platform::URL url, CaseInsensitiveString bundleID, CaseInsensitiveString name);

    platform::URL _url;
    CaseInsensitiveString _bundleID;
    std::vector<CaseInsensitiveString> _bundleIDs;
    std::vector<CaseInsensitiveString> _bundleNames;
};

}  // namespace Core
