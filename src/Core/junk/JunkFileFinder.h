#pragma once
// JunkFileFinder: the junk scan the user starts. From nine switches it
// runs, in a fixed order, the system caches of "/Library/Caches", the
// system logs ("/Library/Logs", the diagnostics store, the known logs of
// "/private/var/log"), the trash folders, the purgeable space of the root
// volume and the disk images below the home, then hands over to
// AppJunkFinder for application caches and logs, the development
// environment and browsers. Every find goes to the delegate as it is
// measured; nothing is collected here. System paths are looked up under
// the layout's root.
//
// Threading: make(), start() and stop() on the main thread; every delegate
// call comes on the main thread. The run is one block on a private queue,
// the disk image search is handed over through the main queue. A finder
// released during a run reports nothing more. One run at a time.
//
//   auto finder = Core::JunkFileFinder::make();
//   finder->delegate = host;                       // held weakly
//   finder->exclubeFilesUrls = {platform::URL::fileURL(keep)};
//   finder->start({true, true, true, true, true, true, true, true, true});
//   platform::dispatch::runMainLoopUntil([&] { return host->finished; }, 1h);

#include "Core/foundation/FileFinderContext.h"
#include "Core/foundation/Progress.h"
#include "Core/junk/AppJunkFinder.h"
#include "Core/junk/JunkFileFinderConfig.h"
#include "Core/junk/JunkFileFinderDelegate.h"
#include "platform/URL.h"

#include <memory>
#include <string>
#include <vector>

namespace Core {

class JunkFileFinder : public AppJunkFinderDelegate, public std::enable_shared_from_this<JunkFileFinder> {
public:
    // Names in "/Library/Caches" that are never offered (exact names).
    static const std::vector<std::string>& skippedSystemCacheNames();
    // The log name expression of "/private/var/log", compiled as it is
    // (case matters), and the names taken as they are.
    static const std::string& systemLogExpression();
    static const std::vector<std::string>& systemLogNames();

    // With an application part over the shared junk rules.
    static std::shared_ptr<JunkFileFinder> make();
    // With the given application part (tests, the console host).
    static std::shared_ptr<JunkFileFinder> make(std::shared_ptr<AppJunkFinder> appFileFinder);

    std::weak_ptr<JunkFileFinderDelegate> delegate;
    const std::shared_ptr<AppJunkFinder> appFileFinder;
    // The running scan's token and progress; absent before the first start
    // and after stop().
    std::shared_ptr<FileFinderContext> interrupter;
    std::shared_ptr<Progress> progress;
    // Files and folders never reported, nor anything below them; a folder
    // that holds one is reported as the pieces around it.
    std::vector<platform::URL> exclubeFilesUrls;
    // Applications left out of the application part.
    std::vector<platform::URL> exclubeAppUrls;
    // Identifiers whose orphan junk is left out.
    std::vector<std::string> exclubeAppIds;

    // Returns at once.
    void start(const JunkFileFinderConfig& config);
    // Interrupts this scan and the application part: nothing found after
    // this is reported, no later category runs, and no finish comes.
    void stop();

    // The application part reports through these (main thread).
    void appJunkFinderScanning(const platform::URL& url) override;
    void appJunkFinderProgress(double value) override;
    void appJunkFinderFoundAppJunk(const MacAppJunkFile& file) override;
    void appJunkFinderFoundOrphanJunk(const CaseInsensitiveString& id, const std::vector<AppFile>& files) override;
    void appJunkFinderFoundInternetCache(const MacAppJunkFile& file) override;
    void appJunkFinderDidFinish() override;

    // Use make(): the application part reports to this object weakly.
    explicit JunkFileFinder(std::shared_ptr<AppJunkFinder> appFileFinder);
    // A finder released during a run stops it, as stop() does.
    ~JunkFileFinder() override;

private:
    class Run;
};

}  // namespace Core
