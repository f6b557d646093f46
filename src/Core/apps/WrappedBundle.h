#pragma once
// WrappedBundle: an iOS application wrapped for the Mac. The outer folder is
// no ordinary application; its "WrappedBundle" (a folder or a link to one)
// holds the application in the flat form ("Info.plist" at its top). The
// identifiers are the wrapped application's, those of the folders in
// "WrappedBundle/PlugIns" (no executable needed), and the UUID names of the
// containers that the mapper finds for any of them.
//
// Threading: a plain value; see AppBundle. The mapper is shared and
// thread-safe.
//
//   auto mapper = std::make_shared<Core::IOSAppUUIDMapper>();
//   if (auto game = Core::WrappedBundle::load(url, mapper)) game->loadNestedBundles();

#include "Core/apps/AppBundle.h"
#include "Core/apps/IOSAppUUIDMapper.h"

#include <memory>
#include <optional>

namespace Core {

class WrappedBundle final : public AppBundle {
public:
    // The wrapped application at `url`; nothing when "WrappedBundle" holds
    // no bundle with a string "CFBundleIdentifier". It does not test whether
    // `url` is an ordinary application: AppBundleLoader tries that first.
    // bundleNames() holds the wrapped "CFBundleName" when it is a string,
    // and nothing else.
    static std::optional<WrappedBundle> load(const platform::URL& url, std::shared_ptr<IOSAppUUIDMapper> uuidMapper);

    const platform::URL& url() const override { return _url; }
    const CaseInsensitiveString& bundleID() const override { return _bundleID; }
    const std::vector<CaseInsensitiveString>& bundleIDs() const override { return _bundleIDs; }
    const std::vector<CaseInsensitiveString>& bundleNames() const override { return _bundleNames; }
    const std::shared_ptr<IOSAppUUIDMapper>& uuidMapper() const { return _uuidMapper; }
    void loadNestedBundles() override;

private:
    WrappedBundle() = default;

    platform::URL _url;
    CaseInsensitiveString _bundleID;
    std::vector<CaseInsensitiveString> _bundleIDs;
    std::vector<CaseInsensitiveString> _bundleNames;
    std::shared_ptr<IOSAppUUIDMapper> _uuidMapper;
};

}  // namespace Core
