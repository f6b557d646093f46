// Hung applications through a fake window server.
#include "monitor/OMHungAppMonitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

using Core::HungAppNotice;
using Core::OMHungAppMonitor;

namespace {

class FakeWindowServer final : public platform::WindowServer {
public:
    int registerNotifyProc(platform::NotifyProcPtr proc, int event, void* context) override {
        procs.push_back({proc, event, context});
        return 0;
    }
    int removeNotifyProc(platform::NotifyProcPtr proc, int event, void* context) override {
        auto found = std::find(procs.begin(), procs.end(), Registration{proc, event, context});
        if (found == procs.end()) return -1;
        procs.erase(found);
        return 0;
    }
    std::vector<pid_t> runningApplications() override { return {10, 20, 30, 40}; }
    int getProcessForPID(pid_t pid, platform::ProcessSerialNumber& psn) override {
        if (pid == 40) return -600;
        psn.lowLongOfPSN = static_cast<uint32_t>(pid);
        return 0;
    }
    bool isAppUnresponsive(const platform::ProcessSerialNumber& psn) override {
        return psn.lowLongOfPSN == 20 || psn.lowLongOfPSN == 30;
    }
    void send(int event, const void* data, uint32_t length) {
        for (const auto& r : procs)
            if (r.event == event) r.proc(event, const_cast<void*>(data), length, r.context);
    }

    struct Registration {
        platform::NotifyProcPtr proc;
        int event;
        void* context;
        bool operator==(const Registration&) const = default;
    };
    std::vector<Registration> procs;
};

class RecordingDelegate final : public Core::OMHungAppMonitorDelegate {
public:
    void hungAppMonitorAppBecameUnresponsive(const HungAppNotice& notice) override { told.emplace_back(750, notice.pid); }
    void hungAppMonitorAppBecameResponsive(const HungAppNotice& notice) override { told.emplace_back(751, notice.pid); }
    std::vector<std::pair<int, int>> told;
};

}  // namespace

TEST(OMHungAppMonitorTest, ListsUnresponsiveAppsAndForwardsEvents) {
    auto server = std::make_shared<FakeWindowServer>();
    platform::WindowServer::setShared(server);
    {
        OMHungAppMonitor monitor;
        EXPECT_EQ(server->procs.size(), 2u);
        EXPECT_EQ(monitor.hungApps(), (std::vector<pid_t>{20, 30}));

        auto delegate = std::make_shared<RecordingDelegate>();
        monitor.setDelegate(delegate);
        HungAppNotice notice;
        notice.pid = 20;
        server->send(750, &notice, sizeof notice);
        server->send(751, &notice, sizeof notice);
        server->send(752, &notice, sizeof notice);
        server->send(750, &notice, 23);  // too short
        EXPECT_EQ(delegate->told, (std::vector<std::pair<int, int>>{{750, 20}, {751, 20}}));
        delegate.reset();
        server->send(750, &notice, sizeof notice);  // a gone delegate is not called
    }
    EXPECT_TRUE(server->procs.empty());
    platform::WindowServer::setShared(nullptr);
    OMHungAppMonitor linux;
    EXPECT_TRUE(linux.hungApps().empty());
}
