#include "HelperProcess.h"

#include "disk/OMFolderExtractor.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace fs = std::filesystem;
using Core::HelperMessage;
using K = Core::HelperMessageKind;
using helper_testing::HelperProcess;
using helper_testing::lastIs;
using helper_testing::WireClient;
using testing_support::TempDir;
using testing_support::writeFile;
using testing_support::writeFileOfSize;

namespace {

HelperMessage deletion(std::vector<std::string> paths, std::vector<std::string> scripts) {
    HelperMessage message = HelperMessage::call(K::deleteAtPaths);
    message.paths = std::move(paths);
    message.scripts = std::move(scripts);
    return message;
}

HelperMessage withPath(K kind, uint32_t id, std::string path) {
    HelperMessage message = HelperMessage::call(kind, id);
    message.path = std::move(path);
    return message;
}

std::vector<std::string> describe(const std::vector<HelperMessage>& messages) {
    std::vector<std::string> lines;
    for (const auto& m : messages) {
        switch (m.kind) {
            case K::deletingAt: lines.push_back("deleting " + fs::path(m.path).filename().string()); break;
            case K::deletedAt:
                lines.push_back("deleted " + fs::path(m.path).filename().string() + (m.flag ? " ok" : " failed"));
                break;
            case K::launchedScript: lines.push_back("script"); break;
            case K::deletionCompleted: lines.push_back("completed"); break;
            default: lines.push_back("kind " + std::to_string(static_cast<int>(m.kind)));
        }
    }
    return lines;
}

class HelperToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        settings.socketPath = dir / "helper.socket";
        settings.allowedUid = ::getuid();
    }
    TempDir dir;
    helper_testing::ToolSettings settings;
};

}  // namespace

TEST_F(HelperToolTest, AnswersTestAndDeletesWithScriptsInOrderWithoutFollowingLinks) {
    HelperProcess tool(settings);
    ASSERT_TRUE(tool.isRunning());
    WireClient client(settings.socketPath);
    ASSERT_TRUE(client.send(HelperMessage::call(K::test, 41)));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::replyVoid); }));
    EXPECT_EQ(client.received().back().callId, 41u);

    writeFile(dir / "outside/keep", "precious");
    writeFile(dir / "tree/a/b/file", "x");
    fs::create_symlink(dir / "outside", dir / "tree/a/link-to-dir");
    fs::create_symlink(dir / "outside/keep", dir / "tree/link-to-file");
    writeFile(dir / "single", "y");
    ASSERT_TRUE(client.send(deletion({dir / "tree", dir / "missing", dir / "single"},
                                     {"touch '" + dir / "script-ran" + "'", "exit 3"})));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::deletionCompleted); }));
    auto messages = client.received();
    messages.erase(messages.begin());  // the test reply
    EXPECT_EQ(describe(messages), (std::vector<std::string>{"deleting tree", "deleted tree ok", "deleting missing",
                                                            "deleted missing failed", "deleting single",
                                                            "deleted single ok", "script", "script", "completed"}));
    EXPECT_FALSE(fs::exists(dir / "tree"));
    EXPECT_FALSE(fs::exists(dir / "single"));
    EXPECT_TRUE(fs::exists(dir / "script-ran"));
    EXPECT_EQ(testing_support::readFile(dir / "outside/keep"), "precious");
}

TEST_F(HelperToolTest, PauseHoldsTheDeletionUntilResumeAndStopEndsItWithCompletion) {
    HelperProcess tool(settings);
    WireClient client(settings.socketPath);
    ASSERT_TRUE(client.isConnected());
    writeFile(dir / "one", "1");
    writeFile(dir / "two", "2");
    client.send(HelperMessage::call(K::pauseDeleting));
    client.send(deletion({dir / "one"}, {}));
    client.send(HelperMessage::call(K::test, 1));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::replyVoid); }));
    EXPECT_TRUE(fs::exists(dir / "one"));
    EXPECT_EQ(client.received().size(), 1u);
    client.send(HelperMessage::call(K::resumeDeleting));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::deletionCompleted); }));
    EXPECT_FALSE(fs::exists(dir / "one"));

    // Stopped while paused: nothing is touched, yet completion comes.
    size_t before = client.received().size();
    client.send(HelperMessage::call(K::pauseDeleting));
    client.send(deletion({dir / "two"}, {"touch '" + dir / "never" + "'"}));
    client.send(HelperMessage::call(K::stopDeleting));
    ASSERT_TRUE(client.waitFor([&](auto& m) { return m.size() > before && lastIs(m, K::deletionCompleted); }));
    EXPECT_EQ(client.received().size(), before + 1);
    EXPECT_TRUE(fs::exists(dir / "two"));
    EXPECT_FALSE(fs::exists(dir / "never"));

    // A deletion after the stop runs normally.
    client.send(HelperMessage::call(K::resumeDeleting));
    client.send(deletion({dir / "two"}, {}));
    ASSERT_TRUE(client.waitFor([&](auto& m) { return m.size() == before + 4 && lastIs(m, K::deletionCompleted); }));
    EXPECT_FALSE(fs::exists(dir / "two"));
}

TEST_F(HelperToolTest, SizesShredsAndMaintenanceReply) {
    HelperProcess tool(settings);
    WireClient client(settings.socketPath);
    ASSERT_TRUE(client.isConnected());
    for (int i = 0; i < 50; ++i) writeFileOfSize(dir / ("tree/" + std::to_string(i % 5) + "/f" + std::to_string(i)), 3000);
    int64_t expected = Core::GetDirectorySize((dir / "tree").c_str(), nullptr, nullptr);
    client.send(withPath(K::getDirectorySize, 7, dir / "tree"));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::replySize); }));
    EXPECT_EQ(client.received().back().callId, 7u);
    EXPECT_EQ(client.received().back().size, expected);
    // A stopped size still answers, with at most the full size.
    client.send(withPath(K::getDirectorySize, 8, dir / "tree"));
    client.send(HelperMessage::call(K::stopGettingSize));
    ASSERT_TRUE(client.waitFor([](auto& m) { return m.back().callId == 8; }));
    EXPECT_LE(client.received().back().size, expected);

    writeFileOfSize(dir / "secret", 10000, 's');
    int kept = ::open((dir / "secret").c_str(), O_RDONLY);
    ASSERT_GE(kept, 0);
    client.send(withPath(K::shredFile, 9, dir / "secret"));
    ASSERT_TRUE(client.waitFor([](auto& m) { return m.back().callId == 9; }));
    EXPECT_TRUE(client.received().back().flag);
    EXPECT_FALSE(fs::exists(dir / "secret"));
    std::string after(10000, '\0');
    ASSERT_EQ(::pread(kept, after.data(), after.size(), 0), 10000);
    ::close(kept);
    EXPECT_NE(after, std::string(10000, 's')) << "the data was unlinked but not overwritten";
    client.send(withPath(K::shredFile, 10, dir / "gone"));
    ASSERT_TRUE(client.waitFor([](auto& m) { return m.back().callId == 10; }));
    EXPECT_FALSE(client.received().back().flag);

    client.send(HelperMessage::call(K::clearDNSCache, 11));
    ASSERT_TRUE(client.waitFor([](auto& m) { return m.back().callId == 11; }));
    EXPECT_TRUE(client.received().back().flag);
    client.send(HelperMessage::call(K::reindexSpotlight, 12));
    ASSERT_TRUE(client.waitFor([](auto& m) { return m.back().callId == 12; }));
    EXPECT_FALSE(client.received().back().flag);
}

TEST_F(HelperToolTest, ShredModeOverwritesDuringDeletion) {
    HelperProcess tool(settings);
    WireClient client(settings.socketPath);
    writeFileOfSize(dir / "folder/data", 5000, 'd');
    int kept = ::open((dir / "folder/data").c_str(), O_RDONLY);
    HelperMessage mode = HelperMessage::call(K::changeMode);
    mode.flag = true;
    client.send(mode);
    client.send(deletion({dir / "folder"}, {}));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::deletionCompleted); }));
    std::string after(5000, '\0');
    ASSERT_EQ(::pread(kept, after.data(), after.size(), 0), 5000);
    ::close(kept);
    EXPECT_NE(after, std::string(5000, 'd'));
    EXPECT_FALSE(fs::exists(dir / "folder"));
}

TEST_F(HelperToolTest, AMalformedFrameClosesThatConnectionOnly) {
    HelperProcess tool(settings);
    {
        WireClient client(settings.socketPath);
        ASSERT_TRUE(client.sendRaw(std::string("\xFF\xFF\xFF\xFF garbage", 12)));
        EXPECT_TRUE(client.waitForClose());
    }
    {
        WireClient client(settings.socketPath);
        ASSERT_TRUE(client.sendRaw(std::string("\x00\x00\x00\x02\x09\x07", 6)));  // a Bool of 7
        EXPECT_TRUE(client.waitForClose());
    }
    {
        // A reply is not something a client may send.
        WireClient client(settings.socketPath);
        client.send(HelperMessage::call(K::replyVoid, 3));
        EXPECT_TRUE(client.waitForClose());
    }
    WireClient client(settings.socketPath);
    client.send(HelperMessage::call(K::test, 5));
    EXPECT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::replyVoid); }));
}

TEST_F(HelperToolTest, OnlyRootAndItsUserAreServed) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as a second user";
    settings.allowedUid = 4242;
    ::chmod(dir.str().c_str(), 0755);
    HelperProcess tool(settings);
    ASSERT_TRUE(tool.isRunning());
    // Runs a client as `uid` in a child; its exit status says whether the
    // test call was answered (0) or the connection closed (1).
    auto answeredAs = [&](uid_t uid) {
        pid_t child = ::fork();
        if (child == 0) {
            if (::setgid(uid) != 0 || ::setuid(uid) != 0) ::_exit(3);
            int fd = Core::internal::FramedSocket::connectTo(settings.socketPath);
            if (fd < 0) ::_exit(4);
            Core::internal::FramedSocket socket(fd);
            socket.send(HelperMessage::call(K::test, 1));
            bool answered = false;
            socket.readMessages([&](HelperMessage m) {
                answered = m.kind == K::replyVoid;
                socket.shutdown();
            });
            ::_exit(answered ? 0 : 1);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    EXPECT_EQ(answeredAs(65534), 1);
    EXPECT_EQ(answeredAs(4242), 0);
    EXPECT_EQ(answeredAs(0), 0);
}

TEST_F(HelperToolTest, TheClientSeesTheConnectionEndWhenTheToolDies) {
    HelperProcess tool(settings);
    WireClient client(settings.socketPath);
    client.send(HelperMessage::call(K::test, 1));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::replyVoid); }));
    tool.kill();
    EXPECT_TRUE(client.waitForClose());
}
