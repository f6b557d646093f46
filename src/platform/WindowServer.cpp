#include "platform/WindowServer.h"

#include "platform/internal/Installed.h"

namespace platform {

namespace {

// No window server: registrations are accepted and never fire.
class LinuxWindowServer final : public WindowServer {
public:
    int registerNotifyProc(NotifyProcPtr, int, void*) override { return 0; }
    int removeNotifyProc(NotifyProcPtr, int, void*) override { return 0; }
    std::vector<pid_t> runningApplications() override { return {}; }
    int getProcessForPID(pid_t, ProcessSerialNumber&) override { return -600; }  // procNotFound
    bool isAppUnresponsive(const ProcessSerialNumber&) override { return false; }
};

internal::Installed<WindowServer, LinuxWindowServer> installedServer;

}  // namespace

std::shared_ptr<WindowServer> WindowServer::shared() { return installedServer.get(); }

void WindowServer::setShared(std::shared_ptr<WindowServer> server) { installedServer.set(std::move(server)); }

}  // namespace platform
