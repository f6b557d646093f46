#pragma once
// LaunchdManagedItemsFinder: the launch items search. start() runs two jobs
// side by side on global queues in one dispatch group:
//   - the launchd job: "<local Library>/LaunchAgents" (globalAgent) and
//     "/LaunchDaemons" (globalDaemon) without the host's own items (any path
//     that contains the host's identifier), then "<user Library>/LaunchAgents"
//     (userAgent); only entries whose name contains ".plist" stay. Paths are
//     as listed, links not resolved. It ends with analytics event 91.
//   - the application job: for each application directly in "/Applications"
//     (under the layout's root), every bundle in its
//     "Contents/Library/LoginItems" that reads as an application gives an
//     appLoginItem with that bundle; every application in the session's
//     login items list gives one without a login item bundle.
// When both have ended a block on the main queue hands the launchd items,
// then the application items, to the delegate, and reports the end.
//
// Ownership: made by std::make_shared (as makeLaunchItemsFinder does), since
// a run holds the finder while its jobs work; a finder the host has let go
// of reports nothing more.
//
// Threading: start(), stop() and the delegate from the main thread; the job
// functions on any thread.
//
//   auto finder = std::make_shared<Core::LaunchdManagedItemsFinder>(listener);
//   finder->start();

#include "startup/LaunchItemsFinder.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Core {

class LaunchdManagedItemsFinder final : public LaunchItemsFinder,
                                        public std::enable_shared_from_this<LaunchdManagedItemsFinder> {
public:
    explicit LaunchdManagedItemsFinder(std::weak_ptr<LaunchItemsFinderDelegate> delegate = {})
        : _delegate(std::move(delegate)) {}

    std::weak_ptr<LaunchItemsFinderDelegate> delegate() const override;
    void setDelegate(std::weak_ptr<LaunchItemsFinderDelegate> delegate) override;
    void start() override;
    void stop() override;

    // The two jobs of a search, for callers that want one part at once. A
    // set `stopped` ends them early with what they have.
    std::vector<LaunchItem> findLaunchdItems(const std::atomic<bool>* stopped = nullptr) const;
    std::vector<LaunchItem> findAppLoginItems(const std::atomic<bool>* stopped = nullptr) const;

    const std::string agentsFolder = "LaunchAgents";
    const std::string daemonsFolder = "LaunchDaemons";

private:
    struct Run;

    mutable std::mutex _mutex;
    std::weak_ptr<LaunchItemsFinderDelegate> _delegate;
    std::shared_ptr<Run> _run;
};

}  // namespace Core
