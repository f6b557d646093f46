#pragma once
// WindowServer: the window server's calls for telling hung applications:
// notification procedures for its events, the running applications, a
// process's serial number and whether an application answers its events.
// On Linux there is no such server: nothing is ever notified, and no
// application is unresponsive. Tests install a fake.
//
// Threading: any thread; procedures are called on the server's
// notification thread.
//
//   platform::WindowServer::shared()->registerNotifyProc(proc, 750, this);

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace platform {

struct ProcessSerialNumber {
    uint32_t highLongOfPSN = 0;
    uint32_t lowLongOfPSN = 0;
};

using NotifyProcPtr = void (*)(int event, void* data, uint32_t length, void* context);

class WindowServer {
public:
    virtual ~WindowServer() = default;
    // 0 on success.
    virtual int registerNotifyProc(NotifyProcPtr proc, int event, void* context) = 0;
    virtual int removeNotifyProc(NotifyProcPtr proc, int event, void* context) = 0;
    // The process numbers of the running applications.
    virtual std::vector<pid_t> runningApplications() = 0;
    // 0 on success, with the process's serial number.
    virtual int getProcessForPID(pid_t pid, ProcessSerialNumber& psn) = 0;
    virtual bool isAppUnresponsive(const ProcessSerialNumber& psn) = 0;

    // The installed server; never null.
    static std::shared_ptr<WindowServer> shared();
    // Installs `server` (null restores the machine's).
    static void setShared(std::shared_ptr<WindowServer> server);
};

}  // namespace platform
