// Delete runs through the main loop: the state table, the phases in order,
// the helper phase with a real helper process, purgeable space and photos
// with fakes.
#include "Core/deletion/Deleter.h"
#include "Core/deletion/FileTools.h"
#include "Core/helper/HelperInstaller.h"
#include "Core/helper/HelperProcess.h"
#include "DeletionFixtures.h"
#include "platform/Analytics.h"
#include "platform/PhotoService.h"
#include "platform/PurgeableSpace.h"
#include "support/FakePhotoService.h"
#include "support/MainLoopPump.h"
#include "support/RecordingSink.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>

extern char** environ;

namespace fs = std::filesystem;
using Core::Deleter;
using Core::DeleterState;
using testing_support::FakePhotoService;
using testing_support::pumpMainLoopUntil;
using testing_support::TempDir;
using testing_support::writeFile;

namespace {

std::string progressText(double value) {
    char text[16];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

// Records the slots in order, with paths by their last component. Every
// slot must come on the main thread.
class Host final : public Core::DeleterDelegate {
public:
    void deleterCurrent(const std::string& path) override {
        EXPECT_TRUE(platform::dispatch::isMainThread());
        currents.push_back(path);
    }
    void deleterProgress(double fraction) override {
        EXPECT_TRUE(platform::dispatch::isMainThread());
        calls.push_back("progress " + progressText(fraction));
    }
    void deleterDeleted(const std::string& path, const std::optional<std::string>& message) override {
        EXPECT_TRUE(platform::dispatch::isMainThread());
        calls.push_back("deleted " + name(path) + (message ? " " + *message : ""));
    }
    void deleterFailed(const std::string& path, int32_t error) override {
        EXPECT_TRUE(platform::dispatch::isMainThread());
        calls.push_back("failed " + name(path) + " " + std::to_string(error));
    }
    void deleterAskPhotoRetry(bool flag, std::function<void(bool)> reply) override {
        EXPECT_TRUE(platform::dispatch::isMainThread());
        calls.push_back(std::string("ask ") + (flag ? "true" : "false"));
        bool answer = !answers.empty() && answers.front();
        if (!answers.empty()) answers.pop_front();
        reply(answer);
    }
    void deleterCompleted() override {
        EXPECT_TRUE(platform::dispatch::isMainThread());
        calls.push_back("completed");
        ++completions;
    }
    static std::string name(const std::string& path) { return path == "/" ? "/" : fs::path(path).filename().string(); }

    std::vector<std::string> calls;
    std::vector<std::string> currents;
    std::deque<bool> answers;
    int completions = 0;
};

class FakePurgeableSpace final : public platform::PurgeableSpace {
public:
    int64_t recoveryEstimate(const std::string&) override { return 1000; }
    void startRecovery(const std::string& volume, uint64_t wanted, platform::dispatch::QueuePtr queue,
                       RecoveryCallback callback) override {
        std::lock_guard lock(mutex);
        volumePath = volume;
        wantedFree = wanted;
        pending = [queue, callback, this] {
            queue->async([callback, this] { callback(true, 5, error); });
        };
        if (!holdBack) pending();
        started = true;
        platform::dispatch::wakeMainLoop();
    }
    void release() {
        std::lock_guard lock(mutex);
        pending();
    }
    std::mutex mutex;
    std::function<void()> pending;
    std::optional<std::string> error;
    bool holdBack = false;
    std::atomic<bool> started{false};
    std::string volumePath;
    uint64_t wantedFree = 0;
};

class DeleterTest : public ::testing::Test {
protected:
    void SetUp() override {
        // start and stop are called here, on the thread that runs the main loop.
        platform::dispatch::declareMainThread();
        platform::Layout::shared().setHelperSocketPath(socketPath);
        writeFile(installer->installedToolPath(), "installed");
        Core::HelperInstaller::setShared(installer);
        platform::AnalyticsSink::setShared(sink);
        platform::PurgeableSpace::setShared(purgeable);
        platform::PhotoService::setShared(photos);
        settings.socketPath = socketPath;
        settings.allowedUid = ::getuid();
        settings.scriptsDocument = dir / "scripts.txt";
        // The folder unlocker is looked up under the layout's root.
        fs::create_directories(dir.path() / "root/usr/bin");
        fs::create_symlink("/usr/bin/chattr", dir.path() / "root/usr/bin/chattr");
    }
    void TearDown() override {
        platform::Layout::shared().setHelperSocketPath("");
        Core::HelperInstaller::setShared(nullptr);
        platform::AnalyticsSink::setShared(nullptr);
        platform::PurgeableSpace::setShared(nullptr);
        platform::PhotoService::setShared(nullptr);
    }
    std::shared_ptr<Deleter> make(std::vector<std::string> files, std::vector<std::string> scripts = {},
                                  bool purgeable = false, std::vector<Core::Photo> photoList = {},
                                  std::optional<std::string> library = std::nullopt) {
        // The tool runs only the scripts of its resources.
        helper_testing::writeScriptsDocument(settings.scriptsDocument, scripts);
        auto deleter = Deleter::create(std::move(files), std::move(photoList), std::move(library), std::move(scripts),
                                       purgeable);
        deleter->setDelegate(host);
        return deleter;
    }
    bool awaitCompletion() {
        return pumpMainLoopUntil([&] { return host->completions > 0; });
    }
    Core::Photo photo(const std::string& id) {
        return Core::Photo{id, Core::File(platform::URL::fileURL(dir / ("lib/" + id + ".jpg")), 10)};
    }

    TempDir dir;
    testing_support::ScopedLayout layout{dir / "root", dir / "home"};
    std::string socketPath = dir / "helper.socket";
    std::shared_ptr<helper_testing::StubInstaller> installer = std::make_shared<helper_testing::StubInstaller>();
    std::shared_ptr<testing_support::RecordingSink> sink = std::make_shared<testing_support::RecordingSink>();
    std::shared_ptr<FakePurgeableSpace> purgeable = std::make_shared<FakePurgeableSpace>();
    std::shared_ptr<FakePhotoService> photos = std::make_shared<FakePhotoService>();
    std::shared_ptr<Host> host = std::make_shared<Host>();
    helper_testing::ToolSettings settings;
};

TEST_F(DeleterTest, AnEmptyRunOnlyCompletes) {
    auto deleter = make({});
    deleter->start();
    EXPECT_EQ(deleter->stateForTesting(), DeleterState::completed);
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(host->calls, std::vector<std::string>{"completed"});
    EXPECT_TRUE(host->currents.empty());
}

TEST_F(DeleterTest, StopBeforeStartCompletesOnceWithoutWork) {
    writeFile(dir.path() / "kept", "x");
    auto deleter = make({dir / "kept"}, {"touch '" + dir / "ran" + "'"});
    deleter->pause();
    EXPECT_EQ(deleter->stateForTesting(), DeleterState::created);
    deleter->stop();
    deleter->stop();
    deleter->start();
    deleter->pause();
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(deleter->stateForTesting(), DeleterState::completed);
    EXPECT_EQ(host->calls, std::vector<std::string>{"completed"});
    EXPECT_TRUE(fs::exists(dir.path() / "kept"));
    EXPECT_EQ(installer->versionReads.load(), 0);
}

TEST_F(DeleterTest, FilesAreReportedLastToFirstWithProgress) {
    deletion_testing::SentinelTree tree(dir.path());
    writeFile(dir.path() / "a", "x");
    auto deleter = make({dir / "a", dir / "missing", tree.victim.string()});
    deleter->start();
    EXPECT_EQ(deleter->stateForTesting(), DeleterState::started);
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(host->calls, (std::vector<std::string>{"deleted victim", "progress 0.33", "deleted missing",
                                                     "progress 0.67", "deleted a", "progress 1.00", "completed"}));
    EXPECT_FALSE(host->currents.empty());
    EXPECT_TRUE(tree.intact());
    EXPECT_FALSE(deleter->helperActionError());
}

TEST_F(DeleterTest, StopDuringTheFilePhaseDropsTheHelperPhase) {
    std::vector<std::string> files;
    for (int i = 0; i < 50; ++i) {
        writeFile(dir.path() / ("f" + std::to_string(i)), "x");
        files.push_back(dir / ("f" + std::to_string(i)));
    }
    auto deleter = make(files, {"touch '" + dir / "ran" + "'"});
    deleter->start();
    deleter->pause();  // stop while paused
    deleter->stop();
    EXPECT_EQ(deleter->stateForTesting(), DeleterState::stopped);
    // Stopped: start reaches the stopped worker, which does nothing more.
    deleter->start();
    deleter->pause();
    deleter->stop();
    EXPECT_EQ(deleter->stateForTesting(), DeleterState::stopped);
    ASSERT_TRUE(awaitCompletion());
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(host->completions, 1);
    EXPECT_EQ(host->calls.back(), "completed");
    EXPECT_EQ(installer->versionReads.load(), 0);  // no helper was asked
    EXPECT_FALSE(fs::exists(dir.path() / "ran"));
}

TEST_F(DeleterTest, PauseAndStartGoOnWithTheSameList) {
    std::vector<std::string> files;
    for (int i = 0; i < 20; ++i) {
        writeFile(dir.path() / ("folder" + std::to_string(i) + "/file"), "x");
        files.push_back(dir / ("folder" + std::to_string(i)));
    }
    auto deleter = make(files);
    deleter->start();
    deleter->pause();
    EXPECT_EQ(deleter->stateForTesting(), DeleterState::started);
    deleter->start();
    ASSERT_TRUE(awaitCompletion());
    int deleted = 0;
    for (const auto& call : host->calls) deleted += call.rfind("deleted folder", 0) == 0;
    EXPECT_EQ(deleted, 20);
    EXPECT_EQ(host->calls.back(), "completed");
    for (const auto& file : files) EXPECT_FALSE(fs::exists(file));
}

TEST_F(DeleterTest, PurgeableSpaceAloneEndsWithItsMessage) {
    purgeable->error = "recovery failed";
    auto deleter = make({}, {}, true);
    deleter->start();
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(host->calls, (std::vector<std::string>{"deleted / recovery failed", "completed"}));
    EXPECT_EQ(host->currents, std::vector<std::string>{"/"});
    EXPECT_EQ(purgeable->volumePath, "/");
    EXPECT_GE(purgeable->wantedFree, 1000u);
}

TEST_F(DeleterTest, StopDuringThePurgeableStepCompletesAtOnce) {
    purgeable->holdBack = true;
    auto deleter = make({}, {}, true);
    deleter->start();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return purgeable->started.load(); }));
    ASSERT_TRUE(testing_support::drainMainQueue());
    deleter->stop();
    EXPECT_EQ(host->calls, std::vector<std::string>{"completed"});
    purgeable->release();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return host->calls.size() == 2; }));
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(host->calls, (std::vector<std::string>{"completed", "deleted /"}));
}

TEST_F(DeleterTest, ScriptsGoToTheHelperEvenWithoutFailedFiles) {
    helper_testing::HelperProcess tool(settings);
    ASSERT_TRUE(tool.isRunning());
    writeFile(dir.path() / "file", "x");
    auto deleter = make({dir / "file"}, {"echo ran > '" + dir / "marker" + "'", "true"});
    deleter->setIsShredder(false);
    deleter->start();
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(host->calls, (std::vector<std::string>{"deleted file", "progress 0.33", "progress 0.67",
                                                     "progress 1.00", "completed"}));
    EXPECT_EQ(testing_support::readFile(dir.path() / "marker"), "ran\n");
    EXPECT_FALSE(deleter->helperActionError());
}

TEST_F(DeleterTest, AHelperThatCannotConnectIsPassedByQuietly) {
    installer->applicationVersion = "3.0";  // an install is needed, and refused
    auto deleter = make({}, {"touch '" + dir / "ran" + "'"});
    deleter->start();
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(host->calls, std::vector<std::string>{"completed"});
    EXPECT_FALSE(deleter->helperActionError());
    EXPECT_FALSE(fs::exists(dir.path() / "ran"));
}

TEST_F(DeleterTest, AHelperThatDiesSetsHelperActionErrorAndTheRunGoesOn) {
    helper_testing::HelperProcess tool(settings);
    ASSERT_TRUE(tool.isRunning());
    purgeable->error = "done";
    auto deleter = make({}, {"sleep 10", "touch '" + dir / "ran" + "'"}, true);
    deleter->start();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return !host->calls.empty(); }));
    EXPECT_EQ(host->calls, std::vector<std::string>{"progress 0.33"});
    tool.kill();
    ASSERT_TRUE(awaitCompletion());
    EXPECT_TRUE(deleter->helperActionError());
    // The purgeable step ends the run though one script was never counted.
    EXPECT_EQ(host->calls, (std::vector<std::string>{"progress 0.33", "deleted / done", "completed"}));
    EXPECT_FALSE(fs::exists(dir.path() / "ran"));
}

TEST_F(DeleterTest, PhotosAreDeletedThroughThePhotoService) {
    photos->libraryPath = dir / "lib";
    photos->known = {"P1", "P2"};
    photos->outcomes = {true};
    auto deleter = make({}, {}, false, {photo("P1"), photo("P2")}, dir / "lib");
    deleter->start();
    EXPECT_TRUE(deleter->isDeletingPhotos());
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(host->calls, (std::vector<std::string>{"deleted P1.jpg", "progress 0.50", "deleted P2.jpg",
                                                     "progress 1.00", "completed"}));
    EXPECT_EQ(photos->deletions, std::vector<size_t>{2});
    EXPECT_EQ(sink->described(), (std::vector<std::string>{"49", "50 num=2 stat=true tm=<date>"}));
    EXPECT_FALSE(deleter->isDeletingPhotos());
}

TEST_F(DeleterTest, ARefusalForWantOfAuthorizationIsAskedAndRetried) {
    photos->libraryPath = dir / "lib";
    photos->known = {"P1", "P2"};
    photos->outcomes = {false, true};
    photos->status = 2;  // denied
    host->answers = {true};
    auto deleter = make({}, {}, false, {photo("P1"), photo("P2")}, dir / "lib");
    deleter->start();
    deleter->start();  // a second start runs nothing more
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(host->calls, (std::vector<std::string>{"ask true", "deleted P1.jpg", "progress 0.50", "deleted P2.jpg",
                                                     "progress 1.00", "completed"}));
    EXPECT_EQ(photos->deletions, (std::vector<size_t>{2, 2}));
    EXPECT_EQ(sink->described(), (std::vector<std::string>{"49", "50 num=2 stat=auth_err tm=<date>", "49",
                                                        "50 num=2 stat=true tm=<date>"}));
}

TEST_F(DeleterTest, AFinalNoReportsEveryPhotoFailed) {
    photos->libraryPath = dir / "lib";
    photos->known = {"P1"};
    photos->outcomes = {false};
    host->answers = {true, false};
    auto deleter = make({}, {}, false, {photo("P1"), photo("Gone")}, dir / "lib");
    deleter->start();
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(host->calls, (std::vector<std::string>{"ask false", "ask false", "failed P1.jpg 0", "progress 0.50",
                                                     "failed Gone.jpg 0", "progress 1.00", "completed"}));
    EXPECT_EQ(sink->described()[1], "50 num=2 stat=other_err tm=<date>");

    // A library that can't be opened, and ids that match nothing.
    sink = std::make_shared<testing_support::RecordingSink>();
    platform::AnalyticsSink::setShared(sink);
    host = std::make_shared<Host>();
    auto unknown = make({}, {}, false, {photo("P1")}, dir / "elsewhere");
    unknown->start();
    ASSERT_TRUE(awaitCompletion());
    photos->known.clear();
    host = std::make_shared<Host>();
    auto empty = make({}, {}, false, {photo("P1")}, dir / "lib");
    empty->start();
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(sink->described(),
              (std::vector<std::string>{"49", "50 info=load library failed: " + dir / "elsewhere", "49",
                                        "50 info=load library assets count: 1 failed, result is empty"}));
}

TEST_F(DeleterTest, ShredFileFallsBackToTheHelper) {
    // Without the remover the user's own attempt fails.
    Core::setFileToolDirectory(dir / "no-tools");
    helper_testing::HelperProcess tool(settings);
    ASSERT_TRUE(tool.isRunning());
    // How the helper overwrites is its own test's; here, that it is asked.
    writeFile(dir.path() / "secret", std::string(5000, 's'));
    auto shred = [&](const std::string& path) {
        std::optional<bool> outcome;
        Core::shredFile(path, [&](bool success) {
            EXPECT_TRUE(platform::dispatch::isMainThread());
            EXPECT_FALSE(outcome.has_value());
            outcome = success;
        });
        EXPECT_TRUE(pumpMainLoopUntil([&] { return outcome.has_value(); }));
        EXPECT_TRUE(testing_support::drainMainQueue());
        return outcome;
    };
    EXPECT_EQ(shred(dir / "secret"), true);
    EXPECT_FALSE(fs::exists(dir.path() / "secret"));

    // With the remover the helper isn't asked; without a helper, false.
    tool.kill();
    writeFile(dir.path() / "mine", "x");
    if (deletion_testing::useBuiltRemover()) {
        EXPECT_EQ(shred(dir / "mine"), true);
        EXPECT_FALSE(fs::exists(dir.path() / "mine"));
        Core::setFileToolDirectory(dir / "no-tools");
    }
    writeFile(dir.path() / "kept", "x");
    EXPECT_EQ(shred(dir / "kept"), false);
    EXPECT_TRUE(fs::exists(dir.path() / "kept"));
    if (!deletion_testing::useBuiltRemover()) Core::setFileToolDirectory("");
}

// The run as a user without rights over part of the tree: this test
// program started again as that user (see AsUserChild below), talking to
// the helper tool that runs here as root.
constexpr uid_t kSecondUser = 65534;
constexpr const char* kChildVariable = "CORE_TEST_DELETER_CHILD";

TEST_F(DeleterTest, WhatTheUsersRightsCannotRemoveGoesToTheHelper) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to run the deletion as a second user";
    char self[PATH_MAX] = {};
    if (::readlink("/proc/self/exe", self, sizeof self - 1) <= 0) GTEST_SKIP() << "no path of the test program";
    if (!helper_testing::onlyRootMayReplace(self)) GTEST_SKIP() << self << " lies where others may write";
    ::chmod(dir.str().c_str(), 0755);
    deletion_testing::SentinelTree tree(dir.path());  // root's: the user can't remove "victim"
    writeFile(dir.path() / "sealed/file", "x");       // nor a file in root's folder
    writeFile(dir.path() / "mine/a", "x");
    writeFile(dir.path() / "mine/b", "x");
    fs::create_directories(dir.path() / "out");
    for (const auto& path : {"mine", "mine/a", "mine/b", "out"})
        ASSERT_EQ(::chown((dir / path).c_str(), kSecondUser, kSecondUser), 0);
    settings.allowedUid = kSecondUser;
    // The tool serves that user only while it runs this test program, and
    // runs only the scripts of its document.
    settings.root = dir / "root";
    helper_testing::writeTool(installer->installedToolPath(),
                              "<plist version=\"1.0\"><dict><key>SMAuthorizedClients</key><array><string>" +
                                  std::string(self) + "</string></array></dict></plist>");
    helper_testing::writeScriptsDocument(settings.scriptsDocument, {"touch '" + (dir / "marker") + "'"});
    helper_testing::HelperProcess tool(settings);
    ASSERT_TRUE(tool.isRunning());

    // Everything the child needs is made before fork: other threads may
    // hold the allocator's lock at that moment.
    std::string variable = std::string(kChildVariable) + "=" + dir.str();
    std::vector<char*> environment{variable.data()};
    for (char** entry = environ; *entry != nullptr; ++entry) environment.push_back(*entry);
    environment.push_back(nullptr);
    char filter[] = "--gtest_filter=DeleterAsUser.Child";
    char* argv[] = {self, filter, nullptr};
    pid_t child = ::fork();
    if (child == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setgid(kSecondUser) != 0 || ::setuid(kSecondUser) != 0) ::_exit(3);
        ::execve(self, argv, environment.data());
        ::_exit(4);
    }
    ASSERT_GT(child, 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child test failed, status " << status;

    std::ifstream in(dir / "out/calls");
    std::vector<std::string> calls;
    for (std::string line; std::getline(in, line);) calls.push_back(line);
    // The user's own files first, last to first; then the two refused paths
    // in the order they failed, through the helper, then its script.
    EXPECT_EQ(calls, (std::vector<std::string>{"deleted b", "progress 0.20", "deleted a", "progress 0.40",
                                               "deleted victim", "progress 0.60", "deleted sealed",
                                               "progress 0.80", "progress 1.00", "completed",
                                               "helperActionError false", "last currents victim sealed"}));
    EXPECT_FALSE(fs::exists(dir.path() / "sealed"));
    EXPECT_FALSE(fs::exists(tree.victim));
    EXPECT_FALSE(fs::exists(dir.path() / "mine/a"));
    EXPECT_TRUE(fs::exists(dir.path() / "marker"));
    EXPECT_TRUE(tree.intact());
}

// Runs only when started by the test above, as its second user.
TEST(DeleterAsUser, Child) {
    const char* base = std::getenv(kChildVariable);
    if (base == nullptr) GTEST_SKIP() << "started by WhatTheUsersRightsCannotRemoveGoesToTheHelper only";
    fs::path dir(base);
    platform::dispatch::declareMainThread();
    testing_support::ScopedLayout layout{dir / "root", dir / "home"};
    platform::Layout::shared().setHelperSocketPath(dir / "helper.socket");
    Core::HelperInstaller::setShared(std::make_shared<helper_testing::StubInstaller>());
    auto host = std::make_shared<Host>();
    auto deleter = Deleter::create({dir / "sealed", dir / "mine/a", dir / "victim", dir / "mine/b"}, {}, std::nullopt,
                                   {"touch '" + (dir / "marker").string() + "'"}, false);
    deleter->setDelegate(host);
    deleter->start();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return host->completions > 0; }));
    ASSERT_TRUE(testing_support::drainMainQueue());
    std::ofstream out(dir / "out/calls");
    for (const auto& call : host->calls) out << call << "\n";
    out << "helperActionError " << (deleter->helperActionError() ? "true" : "false") << "\n";
    // The helper names each path as it starts on it; the file deleter's
    // reports before those are throttled and may be any.
    auto& currents = host->currents;
    out << "last currents";
    for (size_t i = currents.size() < 2 ? 0 : currents.size() - 2; i < currents.size(); ++i)
        out << " " << Host::name(currents[i]);
    out << "\n";
    Core::HelperInstaller::setShared(nullptr);
}

}  // namespace
