#include "HelperProcess.h"

#include "Core/helper/HelperInstaller.h"
#include "Core/helper/internal/TreeRemover.h"
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
using helper_testing::writeScriptsDocument;
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
        settings.scriptsDocument = dir / "scripts.txt";
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
    std::string touch = "touch '" + dir / "script-ran" + "'";
    std::string unknown = "touch '" + dir / "not-listed" + "'";
    writeScriptsDocument(settings.scriptsDocument, {touch, "exit 3"});
    ASSERT_TRUE(client.send(deletion({dir / "tree", dir / "missing", dir / "single"}, {touch, unknown, "exit 3"})));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::deletionCompleted); }));
    auto messages = client.received();
    messages.erase(messages.begin());  // the test reply
    EXPECT_EQ(describe(messages), (std::vector<std::string>{"deleting tree", "deleted tree ok", "deleting missing",
                                                            "deleted missing failed", "deleting single",
                                                            "deleted single ok", "script", "script", "completed"}));
    EXPECT_FALSE(fs::exists(dir / "tree"));
    EXPECT_FALSE(fs::exists(dir / "single"));
    EXPECT_TRUE(fs::exists(dir / "script-ran"));
    EXPECT_FALSE(fs::exists(dir / "not-listed")) << "a script that is not in the document ran";
    EXPECT_EQ(testing_support::readFile(dir / "outside/keep"), "precious");
}

TEST(TreeRemoverTest, TakesOnlyAbsolutePathsWithoutDotParts) {
    using Core::internal::isRemovablePath;
    for (const char* path : {"", "/", "//", "relative", "tmp/x", "/tmp/./x", "/tmp/../etc", "/tmp/x/.."})
        EXPECT_FALSE(isRemovablePath(path)) << path;
    EXPECT_TRUE(isRemovablePath("/tmp/x"));
    EXPECT_TRUE(isRemovablePath("/tmp/x/"));
    EXPECT_TRUE(isRemovablePath("/tmp/..x"));
}

TEST_F(HelperToolTest, RefusesRelativeAndDotPathsAndNoLinkOnThePathIsFollowed) {
    writeFile(dir / "real/inner", "kept");
    writeFile(dir / "victim", "kept");
    fs::create_directories(dir / "sub");
    fs::create_symlink(dir / "real", dir / "link");
    writeFile(dir / "home/file", "kept");
    settings.protectedFolder = dir / "home";
    // The tool starts in the folder that a relative path would name.
    auto previous = fs::current_path();
    fs::current_path(dir.path());
    HelperProcess tool(settings);
    fs::current_path(previous);
    WireClient client(settings.socketPath);
    ASSERT_TRUE(client.isConnected());
    ASSERT_TRUE(
        client.send(deletion({"victim", dir / "sub/../victim", dir / "link/inner", dir.str() + "//home/"}, {})));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::deletionCompleted); }));
    EXPECT_EQ(describe(client.received()),
              (std::vector<std::string>{"deleting victim", "deleted victim failed", "deleting victim",
                                        "deleted victim failed", "deleting inner", "deleted inner failed",
                                        "deleting ", "deleted  failed", "completed"}));
    EXPECT_TRUE(fs::exists(dir / "home/file")) << "the protected folder was emptied";
    EXPECT_TRUE(fs::exists(dir / "victim"));
    EXPECT_TRUE(fs::exists(dir / "real/inner"));
    EXPECT_TRUE(fs::is_symlink(dir / "link"));

    // A FIFO in the way of a shred neither blocks the tool nor is written.
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
    client.send(withPath(K::shredFile, 4, dir / "pipe"));
    ASSERT_TRUE(client.waitFor([](auto& m) { return m.back().callId == 4; }));
    EXPECT_TRUE(client.received().back().flag);
    EXPECT_FALSE(fs::exists(fs::symlink_status(dir / "pipe")));
}

TEST_F(HelperToolTest, StopEndsARunningScriptWithItsProcessGroup) {
    std::string script = "sleep 1000 & wait; touch '" + dir / "after" + "'";
    writeScriptsDocument(settings.scriptsDocument, {script});
    HelperProcess tool(settings);
    WireClient client(settings.socketPath);
    ASSERT_TRUE(client.send(deletion({}, {script})));
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::launchedScript); }));
    client.send(HelperMessage::call(K::stopDeleting));
    // Without the stop this waits for the sleep, far past the wait's limit.
    ASSERT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::deletionCompleted); }));
    EXPECT_FALSE(fs::exists(dir / "after"));
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
        // A reply is not something a client may send.
        WireClient client(settings.socketPath);
        client.send(HelperMessage::call(K::replyVoid, 3));
        EXPECT_TRUE(client.waitForClose());
    }
    WireClient client(settings.socketPath);
    client.send(HelperMessage::call(K::test, 5));
    EXPECT_TRUE(client.waitFor([](auto& m) { return lastIs(m, K::replyVoid); }));
}

TEST_F(HelperToolTest, ServesRootAndOtherwiseOnlyItsUserRunningANamedHost) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as other users";
    // The clients run as other users: every folder on their way must be open
    // to them.
    ::chmod(dir.str().c_str(), 0755);
    std::string self = fs::read_symlink("/proc/self/exe");
    if (!helper_testing::onlyRootMayReplace(self)) GTEST_SKIP() << self << " lies where others may write";
    // A copy is another program in a place only root may write: not named.
    fs::path trustedPlace = fs::path(self).parent_path() / ("helper-clients-" + std::to_string(::getpid()));
    fs::create_directories(trustedPlace);
    ::chmod(trustedPlace.c_str(), 0755);
    std::string unnamed = trustedPlace / "unnamed-client";
    fs::copy_file(self, unnamed, fs::copy_options::overwrite_existing);
    // Named, but in a folder that others may write to.
    std::string exposed = dir / "exposed-client";
    fs::copy_file(self, exposed);

    // The tool installed under a temporary root, naming its clients.
    settings.root = dir / "root";
    settings.allowedUid = 4242;
    testing_support::ScopedLayout layout(settings.root, dir / "home");
    helper_testing::writeTool(Core::HelperInstaller::shared()->installedToolPath(),
              "<plist version=\"1.0\"><dict><key>SMAuthorizedClients</key><array><string>" + self +
                  "</string><string>" + exposed + "</string><string>relative/client</string></array></dict></plist>");
    HelperProcess tool(settings);
    ASSERT_TRUE(tool.isRunning());

    EXPECT_EQ(helper_testing::clientAnswered(self, settings.socketPath, 4242), 0);
    EXPECT_EQ(helper_testing::clientAnswered(unnamed, settings.socketPath, 4242), 1);
    EXPECT_EQ(helper_testing::clientAnswered(exposed, settings.socketPath, 4242), 1);
    EXPECT_EQ(helper_testing::clientAnswered(self, settings.socketPath, 65534), 1) << "another user";
    EXPECT_EQ(helper_testing::clientAnswered(unnamed, settings.socketPath, 0), 0) << "root is always served";
    fs::remove_all(trustedPlace);
}
