#include "Core/apps/AppBundleLoader.h"

#include "Core/apps/MacAppBundle.h"
#include "Core/apps/WrappedBundle.h"

namespace Core {

AppBundleLoader::AppBundleLoader() : AppBundleLoader(std::make_shared<IOSAppUUIDMapper>()) {}

AppBundleLoader::AppBundleLoader(std::shared_ptr<IOSAppUUIDMapper> uuidMapper) : _uuidMapper(std::move(uuidMapper)) {}

std::shared_ptr<AppBundle> AppBundleLoader::load(const platform::URL& url) const {
    std::shared_ptr<AppBundle> bundle;
    if (auto app = MacAppBundle::load(url))
        bundle = std::make_shared<MacAppBundle>(std::move(*app));
    else if (auto wrapped = WrappedBundle::load(url, _uuidMapper))
        bundle = std::make_shared<WrappedBundle>(std::move(*wrapped));
    if (bundle) bundle->loadNestedBundles();
    return bundle;
}

}  // namespace Core
