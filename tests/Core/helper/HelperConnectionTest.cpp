// Needs the dispatch layer (main queue, timers, the injected clock).
#include "Core/helper/HelperConnection.h"
#include "Core/helper/HelperInstaller.h"
#include "HelperProcess.h"
#include "platform/Analytics.h"
#include "platform/Dispatch.h"
#include "platform/Clock.h"
#include "support/MainLoopPump.h"
#include "support/RecordingSink.h"
#include "support/ScopedSimulatedClock.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>

namespace fs = std::filesystem;
using Core::HelperConnection;
using platform::dispatch::mainQueue;
using testing_support::pumpMainLoopUntil;
using testing_support::TempDir;

namespace {

class Recorder final : public Core::OMHelperDelegate {
public:
    void helperDeletedAt(const std::string& path, bool ok) override { add("deleted " + fs::path(path).filename().string() + (ok ? " ok" : "")); }
    void helperLaunchedScript() override { add("script"); }
    void helperDeletingAt(const std::string& path) override { add("deleting " + fs::path(path).filename().string()); }
    void helperDeletionCompleted() override { add("completed"); }
    std::vector<std::string> calls() {
        std::lock_guard lock(_mutex);
        return _calls;
    }

private:
    void add(std::string call) {
        std::lock_guard lock(_mutex);
        _calls.push_back(std::move(call));
        platform::dispatch::wakeMainLoop();
    }
    std::mutex _mutex;
    std::vector<std::string> _calls;
};

class HelperConnectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform::Layout::shared().setHelperSocketPath(socketPath);
        testing_support::writeFile(installer->installedToolPath(), "installed");
        Core::HelperInstaller::setShared(installer);
        platform::AnalyticsSink::setShared(sink);
        settings.socketPath = socketPath;
        settings.allowedUid = ::getuid();
        settings.scriptsDocument = dir / "scripts.txt";
        helper_testing::writeScriptsDocument(settings.scriptsDocument, {"true"});
    }
    void TearDown() override {
        platform::Layout::shared().setHelperSocketPath("");
        Core::HelperInstaller::setShared(nullptr);
        platform::AnalyticsSink::setShared(nullptr);
    }
    // Runs the main loop until every timer due by now + `seconds` has run:
    // a marker queued after them runs after them.
    void advancePast(double seconds) {
        std::atomic<bool> marker{false};
        mainQueue()->asyncAfter(std::chrono::duration<double>(seconds), [&] { marker = true; });
        time->advance(platform::toClockDuration(std::chrono::duration<double>(seconds)));
        ASSERT_TRUE(pumpMainLoopUntil([&] { return marker.load(); }));
    }
    // The answer to `test` has come once a later reply has.
    void awaitAnswer(const std::shared_ptr<HelperConnection>& connection) {
        std::atomic<bool> answered{false};
        connection->helper()->getDirectorySizeAt(dir.str(), [&](int64_t) {
            answered = true;
            platform::dispatch::wakeMainLoop();
        });
        ASSERT_TRUE(pumpMainLoopUntil([&] { return answered.load(); }));
    }

    TempDir dir;
    testing_support::ScopedLayout layout{dir / "root", dir / "home"};
    testing_support::ScopedSimulatedClock time;
    std::string socketPath = dir / "helper.socket";
    std::shared_ptr<helper_testing::StubInstaller> installer = std::make_shared<helper_testing::StubInstaller>();
    std::shared_ptr<testing_support::RecordingSink> sink = std::make_shared<testing_support::RecordingSink>();
    helper_testing::ToolSettings settings;
};

}  // namespace

TEST_F(HelperConnectionTest, AnAnsweringToolStaysOpenAndForwardsItsCallbacks) {
    helper_testing::HelperProcess tool(settings);
    auto connection = HelperConnection::create();
    auto recorder = std::make_shared<Recorder>();
    connection->setDelegate(recorder);
    int errors = 0;
    connection->setErrorHandler([&] { ++errors; });
    ASSERT_TRUE(connection->connect(false));
    EXPECT_FALSE(connection->connect(false));  // once only
    awaitAnswer(connection);
    advancePast(3.0);
    EXPECT_EQ(errors, 0);
    EXPECT_TRUE(sink->described().empty());
    ASSERT_NE(connection->helper(), nullptr);

    testing_support::writeFile(dir / "victim", "v");
    connection->helper()->deleteAtPaths({dir / "victim"}, {"true"});
    ASSERT_TRUE(pumpMainLoopUntil([&] { return recorder->calls().size() == 4; }));
    EXPECT_EQ(recorder->calls(), (std::vector<std::string>{"deleting victim", "deleted victim ok", "script", "completed"}));

    connection->close();
    EXPECT_EQ(connection->helper(), nullptr);
    connection->close();
    advancePast(3.0);
    EXPECT_EQ(errors, 0);
    // Closed, it connects again.
    ASSERT_TRUE(connection->connect(false));
    awaitAnswer(connection);
}

TEST_F(HelperConnectionTest, AToolThatNeverAnswersIsGivenUpAfterThreeSeconds) {
    settings.silent = true;
    helper_testing::HelperProcess tool(settings);
    auto connection = HelperConnection::create();
    std::vector<bool> helperPresentInHandler;
    connection->setErrorHandler([&] { helperPresentInHandler.push_back(connection->helper() != nullptr); });
    ASSERT_TRUE(connection->connect(true));
    advancePast(2.9);
    EXPECT_TRUE(helperPresentInHandler.empty());
    advancePast(0.2);
    EXPECT_EQ(helperPresentInHandler, std::vector<bool>{false});  // cleaned up before the handler
    EXPECT_EQ(sink->described(), std::vector<std::string>{"111 info=helper not responding"});
    EXPECT_TRUE(connection->connect(true));
    connection->close();
}

TEST_F(HelperConnectionTest, AToolThatGoesAwayClosesTheConnection) {
    helper_testing::HelperProcess tool(settings);
    auto connection = HelperConnection::create();
    std::vector<bool> helperPresentInHandler;
    connection->setErrorHandler([&] { helperPresentInHandler.push_back(connection->helper() != nullptr); });
    ASSERT_TRUE(connection->connect(true));
    awaitAnswer(connection);
    tool.kill();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return !helperPresentInHandler.empty(); }));
    EXPECT_EQ(helperPresentInHandler, std::vector<bool>{true});  // the handler before the clean-up
    EXPECT_EQ(connection->helper(), nullptr);
    EXPECT_EQ(sink->described(), std::vector<std::string>{"111 info=helper exit or crashed"});

    // No tool at all: the same path, from the failed connect.
    int errors = 0;
    connection->setErrorHandler([&] { ++errors; });
    ASSERT_TRUE(connection->connect(true));
    ASSERT_TRUE(pumpMainLoopUntil([&] { return errors == 1; }));
}

TEST_F(HelperConnectionTest, ANeededInstallIsOnlyTriedWhenRequired) {
    installer->applicationVersion = "2.1";
    auto connection = HelperConnection::create();
    EXPECT_FALSE(connection->connect(false));
    EXPECT_EQ(installer->blessCount, 0);
    EXPECT_FALSE(connection->connect(true));
    EXPECT_EQ(installer->blessCount, 1);
    EXPECT_EQ(sink->described(), std::vector<std::string>{"65 error=Bless failed: refused status=failed"});
    EXPECT_EQ(connection->helper(), nullptr);
}
