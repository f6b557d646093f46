// clearDNSCache and reindexSpotlight end to end: the built helper tool is
// installed under a temporary root by the Linux installer, started, and
// runs fake maintenance tools found under that root. The run through the
// tool is skipped where it isn't built (the sanitizer presets).
#include "Core/helper/HelperInstaller.h"
#include "Core/helper/LinuxHelperInstaller.h"
#include "monitor/Maintenance.h"
#include "support/MainLoopPump.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>

using testing_support::writeFile;

namespace {

const std::string kBuiltTool = std::string(CORE_BINARY_DIR) + "/tools/core-helper";

class MaintenanceTest : public testing::Test {
protected:
    void SetUp() override {
        installer->setBundledToolPath(kBuiltTool);
        Core::HelperInstaller::setShared(installer);
    }
    void TearDown() override {
        // The installed tool keeps serving until it is ended: end it here.
        if (pid_t pid = toolPid(); pid > 0) {
            ::kill(pid, SIGTERM);
            ::waitpid(pid, nullptr, 0);
        }
        Core::HelperInstaller::setShared(nullptr);
    }

    pid_t toolPid() const {
        std::ifstream in(platform::Layout::shared().helperSocketPath() + ".pid");
        pid_t pid = 0;
        return in >> pid ? pid : 0;
    }
    void tool(const std::string& name, const std::string& body) {
        std::string path = dir / ("root/usr/bin/" + name);
        writeFile(path, "#!/bin/sh\n" + body + "\n");
        ::chmod(path.c_str(), 0755);
    }
    static std::optional<bool> run(void (*command)(std::function<void(bool)>)) {
        std::optional<bool> outcome;
        int calls = 0;
        command([&](bool ok) {
            outcome = ok;
            ++calls;
        });
        testing_support::pumpMainLoopUntil([&] { return outcome.has_value(); });
        // Nothing more may follow: a second completion would count here.
        testing_support::drainMainQueue();
        EXPECT_LE(calls, 1);
        return outcome;
    }

    testing_support::TempDir dir;
    testing_support::ScopedLayout layout{dir / "root", dir / "home"};
    std::shared_ptr<Core::LinuxHelperInstaller> installer = std::make_shared<Core::LinuxHelperInstaller>();
};

}  // namespace

TEST_F(MaintenanceTest, TheInstalledToolRunsTheCommandsUnderItsRoot) {
    if (::access(kBuiltTool.c_str(), X_OK) != 0) GTEST_SKIP() << "core-helper isn't built in this configuration";
    tool("resolvectl", "[ \"$1\" = flush-caches ] || exit 9\necho flushed >> \"$(dirname \"$0\")/../dns.log\"");
    tool("updatedb", "exit 3");

    EXPECT_EQ(run(Core::clearDNSCache), true);
    EXPECT_EQ(testing_support::readFile(dir / "root/usr/dns.log"), "flushed\n");
    EXPECT_TRUE(std::filesystem::exists(
        dir / "root/Library/PrivilegedHelperTools/com.oxmerl.MerlSweeper.PrivilegedHelperTool"));
    pid_t served = toolPid();
    ASSERT_GT(served, 0);

    EXPECT_EQ(run(Core::reindexSpotlight), false);  // status 3
    std::filesystem::remove(dir / "root/usr/bin/updatedb");
    EXPECT_EQ(run(Core::reindexSpotlight), false);  // missing tool
    tool("updatedb", "kill -KILL $$");
    EXPECT_EQ(run(Core::reindexSpotlight), false);  // ended by a signal
    tool("updatedb", "exit 0");
    EXPECT_EQ(run(Core::reindexSpotlight), true);
    // One tool served every connection.
    EXPECT_EQ(toolPid(), served);
}

TEST_F(MaintenanceTest, AnInstallThatCannotHappenFails) {
    tool("resolvectl", "exit 0");
    installer->setBundledToolPath(dir / "no-such-tool");
    EXPECT_EQ(run(Core::clearDNSCache), false);
    EXPECT_EQ(run(Core::reindexSpotlight), false);
    EXPECT_EQ(toolPid(), 0);
}
