#pragma once
// AppRegistry: what the system knows of installed applications: the
// application bundles its metadata index lists, the bundle identifiers it
// has registered, and the bundles registered under one identifier.
//
// The default registry keeps no database: it looks at the layout's
// application folders when asked. It lists "/Applications",
// "/Applications/Utilities" and "/System/Applications" under the root prefix
// and the home's "Applications", entering plain subfolders (a vendor's
// folder) but neither hidden folders nor bundles, and gives every "*.app"
// folder once. A symbolic link named "*.app" gives the real path of the
// folder it leads to (the system lists an application where it lies); one
// that leads nowhere gives nothing. The registered identifiers are those of
// the listed bundles and of every bundle nested in them, read by
// AppBundleLoader (so wrapped applications count); the bundles of an
// identifier are the listed bundles whose own identifier it is. It lives
// beside the bundles rather than in the platform layer because it reads
// them with the bundle walk.
//
// Threading: the shared registry may be asked from any thread; install a
// double with setShared() before the code under test runs.
// Implementations must be thread-safe.
//
//   auto paths = Core::AppRegistry::shared()->applicationPaths().value_or({});
//   for (const auto& id : Core::AppRegistry::shared()->registeredBundleIDs().value_or({}))
//       use(Core::AppRegistry::shared()->applicationPaths(id));

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Core {

class AppRegistry {
public:
    virtual ~AppRegistry() = default;

    // Every application bundle the index knows, as paths, in no promised
    // order and possibly with repeats. Nothing when the query fails.
    virtual std::optional<std::vector<std::string>> applicationPaths() const;
    // The registered bundle identifiers, possibly with repeats. Nothing when
    // the registry can't be read.
    virtual std::optional<std::vector<std::string>> registeredBundleIDs() const;
    // The bundles registered under `bundleID` (compared without regard to
    // case); empty when none. They may no longer exist.
    virtual std::vector<std::string> applicationPaths(const std::string& bundleID) const;

    // The installed registry; never null.
    static std::shared_ptr<AppRegistry> shared();
    // Installs `registry` (null restores the default).
    static void setShared(std::shared_ptr<AppRegistry> registry);

private:
    struct Binding {
        std::string path;
        std::string bundleID;
    };
    // The default's bindings of the last read, so that asking for the
    // bundles of every registered identifier reads each bundle once; every
    // registeredBundleIDs() reads afresh.
    mutable std::mutex _mutex;
    mutable std::optional<std::vector<Binding>> _bindings;
};

}  // namespace Core
