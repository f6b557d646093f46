#include "Core/deletion/FileTools.h"
#include "Core/deletion/OMFileDeleter.h"
#include "DeletionFixtures.h"
#include "platform/Analytics.h"
#include "support/ScopedSimulatedClock.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;
using Core::OMFileDeleter;
using deletion_testing::RecordingFileDelegate;
using deletion_testing::SentinelTree;
using testing_support::TempDir;
using testing_support::writeFile;

namespace {

struct Run {
    std::shared_ptr<OMFileDeleter> deleter;
    std::shared_ptr<RecordingFileDelegate> delegate = std::make_shared<RecordingFileDelegate>();
};

Run makeRun(std::vector<std::string> paths, std::vector<std::string> scripts = {}) {
    Run run;
    run.deleter = OMFileDeleter::create(std::move(paths), std::move(scripts));
    run.deleter->setDelegate(run.delegate);
    return run;
}

bool gone(const fs::path& path) {
    std::error_code ec;
    return !fs::exists(fs::symlink_status(path, ec));
}

// Last to first; a missing path counts as deleted.
TEST(OMFileDeleterTest, WorksLastToFirstAndRemovesLinksButNeverWhatTheyPointTo) {
    TempDir dir;
    SentinelTree tree(dir.path());
    fs::create_symlink(tree.outside, dir.path() / "top-link");
    fs::create_symlink(tree.outside / "file", dir.path() / "top-file-link");
    auto run = makeRun({tree.victim.string(), dir / "missing", dir / "top-link", dir / "top-file-link"});
    run.deleter->start();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"top-file-link 0", "top-link 0", "missing 0",
                                                               "victim 0", "completed"}));
    EXPECT_TRUE(gone(tree.victim));
    EXPECT_TRUE(gone(dir.path() / "top-link"));
    EXPECT_TRUE(tree.intact());
}

TEST(OMFileDeleterTest, AFailedPathReportsTheErrnoOfItsFailure) {
    TempDir dir;
    writeFile(dir.path() / "plain", "x");
    auto run = makeRun({dir / "plain/below"});
    run.deleter->start();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"below " + std::to_string(ENOTDIR), "completed"}));
}

TEST(OMFileDeleterTest, TrashMovesItemsWithInfoFilesAndFailsForMissingPaths) {
    TempDir dir;
    testing_support::ScopedLayout layout("/", dir / "home");
    writeFile(dir.path() / "docs/report 1%.txt", "one");
    writeFile(dir.path() / "other/report 1%.txt", "two");
    fs::create_directories(dir.path() / "home/.local/share/Trash/files");
    writeFile(dir.path() / "home/.local/share/Trash/files/report 1%.txt 2", "already there");
    auto run = makeRun({dir / "missing", dir / "other/report 1%.txt", dir / "docs/report 1%.txt"});
    run.deleter->setIsMoveToTrash(true);
    run.deleter->start();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"report 1%.txt 0", "report 1%.txt 0",
                                                               "missing " + std::to_string(ENOENT), "completed"}));
    fs::path trash = dir.path() / "home/.local/share/Trash";
    EXPECT_EQ(testing_support::readFile(trash / "files/report 1%.txt"), "one");
    EXPECT_EQ(testing_support::readFile(trash / "files/report 1%.txt 2"), "already there");
    EXPECT_EQ(testing_support::readFile(trash / "files/report 1%.txt 3"), "two");
    std::string info = testing_support::readFile(trash / "info/report 1%.txt.trashinfo");
    std::string encoded = (dir.path() / "docs/report%201%25.txt").string();
    EXPECT_EQ(info.rfind("[Trash Info]\nPath=" + encoded + "\nDeletionDate=", 0), 0u) << info;
    EXPECT_EQ(info.size(), std::string("[Trash Info]\nPath=\nDeletionDate=YYYY-MM-DDThh:mm:ss\n").size() + encoded.size());
    EXPECT_TRUE(fs::exists(trash / "info/report 1%.txt 3.trashinfo"));
    EXPECT_FALSE(fs::exists(trash / "info/report 1%.txt 2.trashinfo"));
}

TEST(OMFileDeleterTest, ShreddingOverwritesInPlaceButSparesHardLinksAndBundles) {
    if (!deletion_testing::useBuiltRemover()) GTEST_SKIP() << "core-rm isn't built in this configuration";
    TempDir dir;
    SentinelTree tree(dir.path());
    std::string secret(10000, 's');
    writeFile(tree.victim / "secret", secret);
    writeFile(tree.victim / "Tool.app/Contents/data", secret);
    writeFile(dir.path() / "kept-name", secret);
    fs::create_hard_link(dir.path() / "kept-name", tree.victim / "sub/other-name");
    ASSERT_EQ(::mkfifo((tree.victim / "sub/fifo").c_str(), 0600), 0);
    // Open descriptors show what happens to the data after the names are gone.
    int secretFd = ::open((tree.victim / "secret").c_str(), O_RDONLY);
    int bundleFd = ::open((tree.victim / "Tool.app/Contents/data").c_str(), O_RDONLY);
    ASSERT_GE(secretFd, 0);
    ASSERT_GE(bundleFd, 0);
    auto run = makeRun({tree.victim.string()});
    run.deleter->setIsShredder(true);
    run.deleter->start();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"victim 0", "completed"}));
    EXPECT_TRUE(gone(tree.victim));
    auto readAll = [](int fd) {
        std::string data(10000, '\0');
        EXPECT_EQ(::pread(fd, data.data(), data.size(), 0), 10000);
        ::close(fd);
        return data;
    };
    EXPECT_NE(readAll(secretFd), secret);
    EXPECT_EQ(readAll(bundleFd), secret);
    EXPECT_EQ(testing_support::readFile(dir.path() / "kept-name"), secret);
    EXPECT_TRUE(tree.intact());
}

TEST(OMFileDeleterTest, AppFoldersGoWholeThroughTheFolderTool) {
    if (!deletion_testing::useBuiltRemover()) GTEST_SKIP() << "core-rm isn't built in this configuration";
    TempDir dir;
    SentinelTree tree(dir.path());
    writeFile(tree.victim / "Apps/Tool.app/Contents/MacOS/tool", "x");
    fs::create_symlink(tree.outside, tree.victim / "Apps/Tool.app/Contents/link");
    writeFile(dir.path() / "Top.app/Contents/Info.plist", "x");
    fs::create_symlink(tree.outside, dir.path() / "Top.app/Contents/link");
    auto run = makeRun({dir / "Top.app", tree.victim.string()});
    run.deleter->start();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"victim 0", "Top.app 0", "completed"}));
    EXPECT_TRUE(gone(dir.path() / "Top.app"));
    EXPECT_TRUE(tree.intact());
}

// Sets or clears the immutable flag; false where the file system has none.
bool setImmutable(const fs::path& path, bool on) {
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    int flags = 0;
    bool ok = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    flags = on ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
    ok = ok && ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    ::close(fd);
    return ok;
}

bool isImmutable(const fs::path& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    int flags = 0;
    bool got = fd >= 0 && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    if (fd >= 0) ::close(fd);
    return got && (flags & FS_IMMUTABLE_FL) != 0;
}

TEST(OMFileDeleterTest, FoldersAreUnlockedButNothingBehindALink) {
    TempDir dir;
    SentinelTree tree(dir.path());
    writeFile(tree.victim / "sub/locked", "x");
    if (!setImmutable(tree.victim / "sub/locked", true) || !setImmutable(tree.outside / "file", true))
        GTEST_SKIP() << "no immutable flag here (needs root and a file system that has one)";
    auto run = makeRun({tree.victim.string()});
    run.deleter->start();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"victim 0", "completed"}));
    EXPECT_TRUE(gone(tree.victim));
    // The walk's unlocking didn't reach through "sub/link-to-file".
    EXPECT_TRUE(isImmutable(tree.outside / "file"));
    setImmutable(tree.outside / "file", false);
    EXPECT_TRUE(tree.intact());
}

// The current path is reported at most every 0.03 s by the injected clock.
TEST(OMFileDeleterTest, CurrentPathReportsAreThrottled) {
    testing_support::ScopedSimulatedClock clock;
    TempDir dir;
    for (int i = 0; i < 20; ++i) writeFile(dir.path() / ("many/f" + std::to_string(i)), "x");
    auto run = makeRun({dir / "many"});
    run.deleter->start();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->currents(), (std::vector<std::string>{dir / "many"}));

    writeFile(dir.path() / "again/f1", "x");
    writeFile(dir.path() / "again/f2", "x");
    auto second = makeRun({dir / "again"});
    // 0.03 s exactly is not yet more than the limit; 0.031 s is.
    second.delegate->onCurrent = [&](const std::string&) { clock->advance(std::chrono::milliseconds(30)); };
    second.deleter->start();
    ASSERT_TRUE(second.delegate->awaitCompleted());
    EXPECT_EQ(second.delegate->currents().size(), 1u);
    auto third = makeRun({dir / "missing-a", dir / "missing-b"});
    third.delegate->onCurrent = [&](const std::string&) { clock->advance(std::chrono::milliseconds(31)); };
    third.deleter->start();
    ASSERT_TRUE(third.delegate->awaitCompleted());
    EXPECT_EQ(third.delegate->currents(), (std::vector<std::string>{dir / "missing-b", dir / "missing-a"}));
}

TEST(OMFileDeleterTest, PauseInsideAFolderKeepsThePathAndStartTriesItAgain) {
    testing_support::ScopedSimulatedClock clock;
    TempDir dir;
    for (int i = 0; i < 5; ++i) writeFile(dir.path() / ("folder/f" + std::to_string(i)), "x");
    writeFile(dir.path() / "earlier", "x");
    auto run = makeRun({dir / "earlier", dir / "folder"});
    std::atomic<int> reports{0};
    std::atomic<bool> paused{false};
    // Every entry is reported; the third report (a file inside) pauses.
    run.delegate->onCurrent = [&](const std::string&) {
        clock->advance(std::chrono::milliseconds(50));
        if (++reports == 3) {
            run.deleter->pause();
            paused = true;
        }
    };
    run.deleter->start();
    run.deleter->waitForQueueForTesting();
    ASSERT_TRUE(paused);
    // Two files went before the pause took hold; the folder is kept, unreported.
    size_t left = 0;
    for (auto it = fs::directory_iterator(dir.path() / "folder"); it != fs::directory_iterator(); ++it) ++left;
    EXPECT_EQ(left, 3u);
    EXPECT_TRUE(run.delegate->calls().empty());
    run.deleter->start();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"folder 0", "earlier 0", "completed"}));
    EXPECT_TRUE(gone(dir.path() / "folder"));
}

TEST(OMFileDeleterTest, StopBeforeStartOrWhilePausedCompletesOnceAndDeletesNothing) {
    TempDir dir;
    writeFile(dir.path() / "kept", "x");
    auto run = makeRun({dir / "kept"});
    run.deleter->stop();
    run.deleter->stop();
    ASSERT_TRUE(run.delegate->awaitCompleted());
    run.deleter->start();
    auto second = makeRun({dir / "kept"});
    second.deleter->start();
    second.deleter->start();
    ASSERT_TRUE(second.delegate->awaitCompleted());
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"completed"}));
    EXPECT_EQ(second.delegate->calls(), (std::vector<std::string>{"kept 0", "completed"}));

    writeFile(dir.path() / "folder/inner", "x");
    auto paused = makeRun({dir / "folder"});
    paused.delegate->onCurrent = [&](const std::string&) { paused.deleter->pause(); };
    paused.deleter->start();
    paused.deleter->waitForQueueForTesting();
    paused.deleter->stop();
    ASSERT_TRUE(paused.delegate->awaitCompleted());
    paused.deleter->waitForQueueForTesting();
    EXPECT_EQ(paused.delegate->calls(), (std::vector<std::string>{"completed"}));
    EXPECT_TRUE(fs::exists(dir.path() / "folder/inner"));
}

TEST(OMFileDeleterTest, ScriptsAreLaunchedAfterThePathsWithoutWaitingAndWithNothingOfTheHost) {
    TempDir dir;
    std::string fifo = dir / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);  // inheritable, unless the launch closes it
    ASSERT_GE(reader, 0);
    writeFile(dir.path() / "file", "x");
    // The first script outlives the run: the deleter must not wait for it.
    // The second prints, and looks for the test's descriptor, before its last line.
    std::string second = "echo to-the-host; echo to-the-host >&2; "
                         "if [ -e /proc/$$/fd/" + std::to_string(reader) + " ]; then echo inherited > '" + fifo +
                         "'; fi; echo two > '" + fifo + "'";
    auto run = makeRun({dir / "file"}, {"exec 3>'" + fifo + "'; echo one >&3; sleep 10", second});
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    run.deleter->start();
    bool completed = run.delegate->awaitCompleted();
    std::string seen;
    pollfd waiting{reader, POLLIN, 0};
    while (seen.find("two") == std::string::npos && ::poll(&waiting, 1, 20000) > 0) {
        char buffer[64];
        ssize_t count = ::read(reader, buffer, sizeof buffer);
        if (count > 0) seen.append(buffer, static_cast<size_t>(count));
    }
    ::close(reader);
    std::string printed = testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    ASSERT_TRUE(completed);
    EXPECT_EQ(run.delegate->calls(), (std::vector<std::string>{"file 0", "script", "script", "completed"}));
    EXPECT_NE(seen.find("two"), std::string::npos);
    EXPECT_EQ(seen.find("inherited"), std::string::npos);
    EXPECT_EQ(printed.find("to-the-host"), std::string::npos);
}

TEST(OMFileDeleterTest, ToolRunnerNeedsAPathAndALaunchableTool) {
    std::vector<std::string> lines;
    static std::vector<std::string>* logged = nullptr;
    logged = &lines;
    platform::setLogHandler([](const std::string& line) { logged->push_back(line); });
    EXPECT_FALSE(Core::executeShredderJobWith("/bin/true", {}, std::nullopt));
    EXPECT_TRUE(lines.empty());
    EXPECT_FALSE(Core::executeShredderJobWith("/nonexistent/tool", {"-x"}, std::string("/tmp")));
    EXPECT_TRUE(Core::executeShredderJobWith("/bin/sh", {"-c", "test \"$0\" = /given"}, std::string("/given")));
    EXPECT_FALSE(Core::executeShredderJobWith("/bin/sh", {"-c", "exit 3"}, std::string("/given")));
    platform::setLogHandler(nullptr);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("Error launching task: ", 0), 0u);
}

}  // namespace
