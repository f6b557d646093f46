#pragma once
// AppJunkFinder: the application half of the junk scan. It matches the
// junk rules (caches and logs) against every installed application once,
// reports each application's junk, keeps browsers apart (their caches are
// the "internet caches" category) and the development environment behind
// its own switch, then walks the rules a second time for what no installed
// application claimed: the junk of applications that are gone.
//
// Threading: start() and stop() on the main thread. The run is one block on
// a private queue; every report reaches the delegate on the main thread, in
// the order of the run. One run at a time per instance.
//
//   auto apps = std::make_shared<Core::AppJunkFinder>();
//   apps->delegate = host;
//   apps->start(config);   // reports come while the main loop runs

#include "Core/apps/AppBundleLoader.h"
#include "Core/files/FileSystem.h"
#include "Core/foundation/FileFinderContext.h"
#include "Core/junk/AppJunkFinderDelegate.h"
#include "Core/junk/JunkFileFinderConfig.h"
#include "Core/rules/AppFileRule.h"
#include "platform/URL.h"

#include <memory>
#include <string>
#include <vector>

namespace Core {

class AppJunkFinder : public std::enable_shared_from_this<AppJunkFinder> {
public:
    // Identifiers whose caches are internet caches (compared without case).
    static const std::vector<CaseInsensitiveString>& browserIDs();

    // Over the shared junk rules (caches and logs); throws ResourceError as
    // they do.
    AppJunkFinder();
    // Over other rules (tests, the console host) and another view of the
    // disk for the rule walk (one that counts its questions); `appFileRule`
    // must outlive the finder.
    explicit AppJunkFinder(const AppFileRule& appFileRule,
                           std::shared_ptr<const FileSystem> fileSystem = FileSystem::real());
    // A finder released during a run stops it.
    ~AppJunkFinder();

    std::weak_ptr<AppJunkFinderDelegate> delegate;
    // The running scan's token; absent when none runs.
    std::shared_ptr<FileFinderContext> context;
    const AppFileRule& appFileRule;
    AppBundleLoader bundleLoader;
    // "<home>/Applications", read when the finder is made.
    std::string userApplicationsPath;
    // Never reported, nor anything below them.
    std::vector<platform::URL> exclubeFilesUrls;
    // Applications to leave out: not scanned, and their identifiers' junk
    // not offered as orphan junk.
    std::vector<platform::URL> exclubeAppUrls;
    // Identifiers whose orphan junk is left out.
    std::vector<std::string> exclubeAppIds;

    // Returns at once; the finder must be owned by a shared_ptr.
    void start(const JunkFileFinderConfig& config);
    // Interrupts the running scan, which then reports nothing more.
    void stop();

private:
    class Run;
    std::shared_ptr<const FileSystem> _fileSystem;
};

}  // namespace Core
