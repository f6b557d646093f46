#include "monitor/OMHungAppMonitor.h"

#include <cstring>

namespace Core {

OMHungAppMonitor::OMHungAppMonitor() : _server(platform::WindowServer::shared()) {
    _server->registerNotifyProc(&NotifyProc, kAppUnresponsiveEvent, this);
    _server->registerNotifyProc(&NotifyProc, kAppResponsiveEvent, this);
}

OMHungAppMonitor::~OMHungAppMonitor() {
    _server->removeNotifyProc(&NotifyProc, kAppUnresponsiveEvent, this);
    _server->removeNotifyProc(&NotifyProc, kAppResponsiveEvent, this);
}

std::vector<pid_t> OMHungAppMonitor::hungApps() const {
    std::vector<pid_t> hung;
    for (pid_t pid : _server->runningApplications()) {
        platform::ProcessSerialNumber psn;
        if (_server->getProcessForPID(pid, psn) == 0 && _server->isAppUnresponsive(psn)) hung.push_back(pid);
    }
    return hung;
}

std::shared_ptr<OMHungAppMonitorDelegate> OMHungAppMonitor::delegate() const {
    std::lock_guard lock(_delegateLock);
    return _delegate.lock();
}

void OMHungAppMonitor::setDelegate(const std::shared_ptr<OMHungAppMonitorDelegate>& delegate) {
    std::lock_guard lock(_delegateLock);
    _delegate = delegate;
}

void OMHungAppMonitor::NotifyProc(int event, void* data, uint32_t length, void* context) {
    if (length < sizeof(HungAppNotice) || data == nullptr || context == nullptr) return;
    auto delegate = static_cast<OMHungAppMonitor*>(context)->delegate();
    if (!delegate) return;
    HungAppNotice notice;
    std::memcpy(&notice, data, sizeof notice);
    if (event == kAppUnresponsiveEvent)
        delegate->hungAppMonitorAppBecameUnresponsive(notice);
    else if (event == kAppResponsiveEvent)
        delegate->hungAppMonitorAppBecameResponsive(notice);
}

}  // namespace Core
