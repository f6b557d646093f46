// The helper's server in this process, so that its clock can be simulated
// and its calls made to fail.
#include "HelperProcess.h"

#include "Core/helper/HelperServer.h"
#include "Core/helper/internal/HelperSocketConnection.h"
#include "support/Await.h"
#include "support/ScopedSimulatedClock.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <thread>

using Core::HelperMessage;
using K = Core::HelperMessageKind;
using helper_testing::lastIs;
using helper_testing::WireClient;
using testing_support::TempDir;

namespace {

class HelperServerTest : public ::testing::Test {
protected:
    HelperServerTest() {
        options.socketPath = dir / "helper.socket";
        options.allowedUid = ::getuid();
    }
    ~HelperServerTest() override {
        if (server) server->stop();
        if (serving.joinable()) serving.join();
    }

    void start() {
        server = std::make_unique<Core::HelperServer>(options);
        std::string error;
        ASSERT_TRUE(server->listen(error)) << error;
        serving = std::thread([this] { server->serve(); });
    }

    static bool answers(WireClient& client, uint32_t id) {
        client.send(HelperMessage::call(K::test, id));
        return client.waitFor([id](auto& m) { return lastIs(m, K::replyVoid) && m.back().callId == id; });
    }

    // Declared first: the server ends before the clock goes.
    std::unique_ptr<testing_support::ScopedSimulatedClock> clock;
    TempDir dir;
    Core::HelperServerOptions options;
    std::unique_ptr<Core::HelperServer> server;
    std::thread serving;
};

}  // namespace

TEST_F(HelperServerTest, AnIdleClientIsClosedOnceItsLimitPassesWithNothingRunning) {
    clock = std::make_unique<testing_support::ScopedSimulatedClock>();
    options.idleTimeout = std::chrono::seconds(60);
    start();
    WireClient client(options.socketPath);
    ASSERT_TRUE(answers(client, 1));
    (*clock)->advance(std::chrono::seconds(59));
    ASSERT_TRUE(answers(client, 2));

    // A deletion held by pause is work under way: the client stays.
    testing_support::writeFile(dir / "doomed", "x");
    client.send(HelperMessage::call(K::pauseDeleting));
    HelperMessage deletion = HelperMessage::call(K::deleteAtPaths);
    deletion.paths = {dir / "doomed"};
    client.send(deletion);
    ASSERT_TRUE(answers(client, 3));
    (*clock)->advance(std::chrono::seconds(61));
    client.send(HelperMessage::call(K::resumeDeleting));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::deletionCompleted); }));
    EXPECT_FALSE(std::filesystem::exists(dir / "doomed"));

    (*clock)->advance(std::chrono::seconds(61));
    EXPECT_TRUE(client.waitForClose());
}

TEST_F(HelperServerTest, ACallThatThrowsEndsItsClientOnly) {
    options.beforeDispatchForTesting = [](const HelperMessage& message) {
        if (message.callId == 666) throw std::runtime_error("injected");
    };
    start();
    {
        WireClient client(options.socketPath);
        client.send(HelperMessage::call(K::test, 666));
        EXPECT_TRUE(client.waitForClose());
    }
    WireClient next(options.socketPath);
    EXPECT_TRUE(answers(next, 7));
}

TEST_F(HelperServerTest, AClientAsksForNoMoreThanItsBounds) {
    options.service.maxEntriesPerDeletion = 2;
    options.service.maxTasks = 1;
    options.service.clearDNSCacheCommand = "exec sleep 1000";
    options.service.reindexSpotlightCommand = "true";
    start();
    WireClient client(options.socketPath);
    testing_support::writeFile(dir / "a", "x");
    HelperMessage deletion = HelperMessage::call(K::deleteAtPaths);
    deletion.paths = {dir / "a", dir / "b"};
    deletion.scripts = {"true"};
    client.send(deletion);
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::deletionCompleted); }));
    EXPECT_EQ(client.received().size(), 1u) << "a refused deletion reports no path";
    EXPECT_TRUE(std::filesystem::exists(dir / "a"));

    // One task at a time: the second answers at once as failed.
    client.send(HelperMessage::call(K::clearDNSCache, 1));
    client.send(HelperMessage::call(K::reindexSpotlight, 2));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::replyBool) && m.back().callId == 2; }));
    EXPECT_FALSE(client.received().back().flag);
}

TEST_F(HelperServerTest, ACallTooLargeToSendIsReportedToTheCaller) {
    start();
    Core::internal::HelperSocketConnection connection(options.socketPath);
    testing_support::Flag failed;
    auto proxy = connection.remoteObjectProxyWithErrorHandler([&] { failed.set(); });
    connection.resume();
    std::vector<std::string> paths(17, std::string(1 << 20, 'p'));
    proxy->deleteAtPaths(paths, {});
    EXPECT_TRUE(failed.await());

    // The connection still carries calls that fit.
    testing_support::Flag answered;
    proxy->test([&] { answered.set(); });
    EXPECT_TRUE(answered.await());
}

// Beyond 64 queued deletions a client's next one is refused at once. The
// paused loop may already have taken the first, so 64 or 65 are accepted.
TEST_F(HelperServerTest, AClientQueuesNoMoreThan64Deletions) {
    start();
    WireClient client(options.socketPath);
    client.send(HelperMessage::call(K::pauseDeleting));
    constexpr int kSent = 70;
    for (int i = 0; i < kSent; ++i) {
        testing_support::writeFile(dir / ("f" + std::to_string(i)), "x");
        HelperMessage deletion = HelperMessage::call(K::deleteAtPaths);
        deletion.paths = {dir / ("f" + std::to_string(i))};
        client.send(deletion);
    }
    ASSERT_TRUE(answers(client, 1));
    auto completions = [](const std::vector<HelperMessage>& messages) {
        return std::count_if(messages.begin(), messages.end(),
                             [](const HelperMessage& m) { return m.kind == K::deletionCompleted; });
    };
    auto refused = completions(client.received());
    EXPECT_GE(refused, kSent - 65);
    EXPECT_LE(refused, kSent - 64);
    EXPECT_TRUE(std::filesystem::exists(dir / ("f" + std::to_string(kSent - 1)))) << "the last was refused";

    client.send(HelperMessage::call(K::resumeDeleting));
    ASSERT_TRUE(client.waitFor([&](auto& m) { return completions(m) == kSent; }));
    EXPECT_FALSE(std::filesystem::exists(dir / "f63"));
}
