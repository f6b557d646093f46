#pragma once
// LaunchItemsFinder: the search for startup items the host drives: launch
// agents of the user and of the machine, the machine's launch daemons, and
// the applications' login items. Made by makeLaunchItemsFinder().
//
// Threading: start(), stop() and the delegate from the main thread. The
// delegate hears every item, then the end, on the main queue; after stop()
// it hears no more items, only the end.
//
//   auto finder = Core::makeLaunchItemsFinder(listener);   // a std::shared_ptr the host keeps
//   finder->start();
//   platform::dispatch::runMainLoopUntil([&] { return listener->done; }, std::chrono::seconds(30));

#include "startup/LaunchItemsFinderDelegate.h"

#include <memory>

namespace Core {

class LaunchItemsFinder {
public:
    virtual ~LaunchItemsFinder() = default;

    virtual std::weak_ptr<LaunchItemsFinderDelegate> delegate() const = 0;
    virtual void setDelegate(std::weak_ptr<LaunchItemsFinderDelegate> delegate) = 0;

    // Starts a search and returns at once. A search still running is stopped.
    virtual void start() = 0;
    // Stops the running search; its end is still reported.
    virtual void stop() = 0;
};

// The finder of launchd-managed items (LaunchdManagedItemsFinder).
std::shared_ptr<LaunchItemsFinder> makeLaunchItemsFinder(std::weak_ptr<LaunchItemsFinderDelegate> delegate = {});

}  // namespace Core
