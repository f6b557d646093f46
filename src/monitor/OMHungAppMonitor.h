#pragma once
// OMHungAppMonitor: tells which running applications don't answer their
// events, and tells its delegate when one stops or starts answering again
// (the window server's events 750 and 751). On Linux the window server
// stand-in knows no applications, so the list is empty and nothing is told.
//
// Threading: create and ask hungApps on any thread; the delegate is called
// on the window server's notification thread.
//
//   auto monitor = std::make_shared<Core::OMHungAppMonitor>();
//   monitor->setDelegate(myDelegate);
//   for (pid_t pid : monitor->hungApps()) show(pid);

#include "platform/WindowServer.h"

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace Core {

// What the window server sends with events 750 and 751 (24 bytes).
struct HungAppNotice {
    platform::ProcessSerialNumber psn;
    int32_t pid = 0;
    uint32_t flags = 0;
    uint64_t timestamp = 0;
};
static_assert(sizeof(HungAppNotice) == 24);

class OMHungAppMonitorDelegate {
public:
    virtual ~OMHungAppMonitorDelegate() = default;
    // Event 750: the application stopped answering.
    virtual void hungAppMonitorAppBecameUnresponsive(const HungAppNotice& notice) = 0;
    // Event 751: it answers again.
    virtual void hungAppMonitorAppBecameResponsive(const HungAppNotice& notice) = 0;
};

class OMHungAppMonitor {
public:
    static constexpr int kAppUnresponsiveEvent = 750;
    static constexpr int kAppResponsiveEvent = 751;

    // Registers NotifyProc for both events with this object as context.
    OMHungAppMonitor();
    // Removes both registrations.
    ~OMHungAppMonitor();
    OMHungAppMonitor(const OMHungAppMonitor&) = delete;
    OMHungAppMonitor& operator=(const OMHungAppMonitor&) = delete;

    // The process numbers of the running applications that don't answer.
    std::vector<pid_t> hungApps() const;

    std::shared_ptr<OMHungAppMonitorDelegate> delegate() const;
    // Held weakly.
    void setDelegate(const std::shared_ptr<OMHungAppMonitorDelegate>& delegate);

    // The window server's notification procedure: data shorter than 24
    // bytes and other events are ignored.
    static void NotifyProc(int event, void* data, uint32_t length, void* context);

private:
    std::shared_ptr<platform::WindowServer> _server;
    mutable std::mutex _delegateLock;
    std::weak_ptr<OMHungAppMonitorDelegate> _delegate;
};

}  // namespace Core
