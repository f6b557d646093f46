#pragma once
// AppBundleLoader: turns the bundle URLs of the installed-application
// listing into walked AppBundle objects: an ordinary application first,
// else a wrapped iOS application, else nothing.
//
// Threading: load() may run on several threads at once; the one mapper is
// thread-safe. Scans clear the mapper when they start, so that containers
// created since the last scan are seen.
//
//   Core::AppBundleLoader loader;
//   loader.uuidMapper()->clear();
//   for (const auto& url : urls) if (auto bundle = loader.load(url)) apps[bundle->bundleID()].push_back(bundle);

#include "Core/apps/AppBundle.h"
#include "Core/apps/IOSAppUUIDMapper.h"

#include <memory>

namespace Core {

class AppBundleLoader {
public:
    // With a mapper of its own over the layout's user library.
    AppBundleLoader();
    explicit AppBundleLoader(std::shared_ptr<IOSAppUUIDMapper> uuidMapper);

    const std::shared_ptr<IOSAppUUIDMapper>& uuidMapper() const { return _uuidMapper; }

    // The bundle at `url` with its nested bundles walked (a MacAppBundle or a
    // WrappedBundle); null when it is neither.
    std::shared_ptr<AppBundle> load(const platform::URL& url) const;

private:
    std::shared_ptr<IOSAppUUIDMapper> _uuidMapper;
};

}  // namespace Core
