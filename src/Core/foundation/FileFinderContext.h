#pragma once
// FileFinderContext: the stop switch and the location reporter of one
// running scan. A scanner binds its context to the queue that runs its work
// with `specificKey()`; code deep inside the scan finds it with `current()`
// rather than through its arguments. Outside a scan `current()` is null, and
// such code runs without stop checks and without location reports.
//
// Threading: `interrupted` reads synchronously and writes asynchronously on
// a private serial queue, so a read after interrupt() on the same thread
// sees true. `workItems` and `onInterrupted` are not guarded: the start
// operation and interrupt() run on the main thread.
//
//   auto context = Core::FileFinderContext::make([](platform::URL url) { show(url); });
//   queue->setSpecific(Core::FileFinderContext::specificKey(), context);
//   // ... deep inside the work:
//   if (auto running = Core::FileFinderContext::current(); running && running->interrupted()) return;

#include "Core/foundation/ValueObservable.h"
#include "platform/Dispatch.h"
#include "platform/URL.h"

#include <functional>
#include <memory>
#include <vector>

namespace Core {

class FileFinderContext : public std::enable_shared_from_this<FileFinderContext> {
public:
    // `block` receives locations on the main thread.
    static std::shared_ptr<FileFinderContext> make(std::function<void(platform::URL)> block);

    // The process-wide key that binds a context to a queue.
    static const platform::dispatch::SpecificKey<FileFinderContext>& specificKey();
    // The context bound to the queue whose item runs on this thread, or null.
    static std::shared_ptr<FileFinderContext> current();

    bool interrupted() const;
    void setInterrupted(bool value);

    // Sets the flag, cancels and forgets every work item, then calls
    // onInterrupted if set (it stays set), outside the lock.
    void interrupt();
    // Sets onInterrupted under the lock, for workers that are not on the
    // main thread; when the context is already interrupted the handler runs
    // at once, so that a stop that came first is not lost.
    void setOnInterrupted(std::function<void()> handler);

    // Set on the main thread directly, or from elsewhere through
    // setOnInterrupted; read under the lock.
    std::function<void()> onInterrupted;
    std::vector<platform::dispatch::WorkItemPtr> workItems;
    ValueObservable<platform::URL> urlObservable;

    // Use make(): the asynchronous write holds the instance weakly.
    explicit FileFinderContext(std::function<void(platform::URL)> block);

private:
    platform::dispatch::QueuePtr _lockQueue;
    bool _interrupted = false;  // guarded by _lockQueue
};

}  // namespace Core
