#include "Core/files/FileManager.h"
#include "Core/files/FileOperations.h"
#include "Core/files/MapKeys.h"
#include "Core/files/PlistContent.h"
#include "Core/files/TaskSyncRunner.h"
#include "Core/foundation/FileFinderContext.h"
#include "Core/helper/OMHelperProtocol.h"
#include "platform/Dispatch.h"
#include "platform/ProcessRunner.h"
#include "platform/PropertyList.h"
#include "support/Await.h"
#include "support/TempDir.h"

#include "support/ScopedSimulatedClock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <future>
#include <optional>
#include <map>
#include <thread>
#include <unordered_map>

namespace {

using namespace Core;
using testing_support::kPatience;
using testing_support::TempDir;
using testing_support::writeFile;

std::vector<std::string> names(const std::vector<URLResource>& entries) {
    std::vector<std::string> out;
    for (const auto& e : entries) out.push_back(e.resourceValues.name.value_or("?"));
    std::sort(out.begin(), out.end());
    return out;
}

// Runs `work` on a queue bound to `context`, as a scanner runs its walk.
template <class Work>
void runInScan(const std::shared_ptr<FileFinderContext>& context, Work&& work) {
    auto queue = platform::dispatch::makeSerialQueue("test.scan");
    queue->setSpecific(FileFinderContext::specificKey(), context);
    queue->sync(std::forward<Work>(work));
}

TEST(FileOperationsTest, DatesAreCachedForTheLifeOfTheProcess) {
    TempDir dir;
    writeFile(dir / "a.txt", "a");
    struct timeval times[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(::utimes((dir / "a.txt").c_str(), times), 0);

    auto first = FileOperations::getLastModificationDateOf(dir / "a.txt");
    ASSERT_TRUE(first);
    EXPECT_EQ(std::chrono::duration_cast<std::chrono::seconds>(first->time_since_epoch()).count(), 1000000000);

    // The file changes; the cache keeps what it saw first.
    struct timeval later[2] = {{1500000000, 0}, {1500000000, 0}};
    ASSERT_EQ(::utimes((dir / "a.txt").c_str(), later), 0);
    EXPECT_EQ(FileOperations::getLastModificationDateOf(dir / "a.txt"), first);
    // Another date type of the same path is a separate entry.
    auto opened = FileOperations::getLastOpenDateOf(dir / "a.txt");
    ASSERT_TRUE(opened);
    EXPECT_EQ(std::chrono::duration_cast<std::chrono::seconds>(opened->time_since_epoch()).count(), 1500000000);
    EXPECT_TRUE(FileOperations::getLastChangeDateOf(dir / "a.txt"));

    // The absence of a date is remembered too: a file made later isn't seen.
    EXPECT_FALSE(FileOperations::getLastModificationDateOf(dir / "late.txt"));
    writeFile(dir / "late.txt", "x");
    EXPECT_FALSE(FileOperations::getLastModificationDateOf(dir / "late.txt"));
    EXPECT_TRUE(FileOperations::getLastChangeDateOf(dir / "late.txt"));
}

TEST(FileOperationsTest, MissingPathsHaveNoDatesAndCountAsSpecial) {
    TempDir dir;
    EXPECT_FALSE(FileOperations::getStatWith(dir / "missing"));
    EXPECT_FALSE(FileOperations::getCreationDateOf(dir / "missing"));
    EXPECT_TRUE(FileOperations::isSpecialFileType(dir / "missing"));

    writeFile(dir / "plain", "x");
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    EXPECT_FALSE(FileOperations::isSpecialFileType(dir / "plain"));
    EXPECT_FALSE(FileOperations::isSpecialFileType(dir.str()));
    EXPECT_TRUE(FileOperations::isSpecialFileType(dir / "fifo"));
    ASSERT_TRUE(FileOperations::getStatWith(dir / "plain"));
    EXPECT_EQ(FileOperations::getStatWith(dir / "plain")->st_size, 1);
}

TEST(FileManagerTest, ListingLeavesOutDSStoreAndReadsTheAskedKeys) {
    TempDir dir;
    writeFile(dir / "file.txt", "12345");
    writeFile(dir / ".DS_Store", "finder");
    writeFile(dir / "sub/inner", "x");
    ASSERT_EQ(::symlink("file.txt", (dir / "link").c_str()), 0);

    auto entries = FileManager::contents(platform::URL::fileURL(dir.str()),
                                         {ResourceKey::fileSize, ResourceKey::isDirectory, ResourceKey::isAliasFile});
    EXPECT_EQ(names(entries), (std::vector<std::string>{"file.txt", "link", "sub"}));
    for (const auto& e : entries) {
        const auto& v = e.resourceValues;
        EXPECT_EQ(e.url.path(), dir / *v.name);
        if (*v.name == "file.txt") {
            EXPECT_EQ(v.fileSize, 5);
            EXPECT_EQ(v.isDirectory, false);
            EXPECT_EQ(v.isAliasFile, false);
        } else if (*v.name == "sub") {
            EXPECT_FALSE(v.fileSize);
            EXPECT_EQ(v.isDirectory, true);
        } else {
            EXPECT_EQ(v.isAliasFile, true);
        }
    }
    // Only the name was asked for: nothing else is filled in.
    auto plain = FileManager::contents(platform::URL::fileURL(dir.str()), {});
    ASSERT_EQ(plain.size(), 3u);
    EXPECT_FALSE(plain[0].resourceValues.isDirectory);
}

TEST(FileManagerTest, ListingFailuresReachTheCaller) {
    TempDir dir;
    writeFile(dir / "file", "x");
    try {
        FileManager::contents(platform::URL::fileURL(dir / "missing"), {});
        FAIL() << "a missing folder was listed";
    } catch (const FileError& e) {
        EXPECT_TRUE(e.isNotFound());
        EXPECT_NE(std::string(e.what()).find("missing"), std::string::npos);
    }
    EXPECT_THROW(FileManager::contents(platform::URL::fileURL(dir / "file"), {}), FileError);
    // Scans that shrink rather than fail take such a folder as empty.
    EXPECT_TRUE(FileManager::contentsOrEmpty(platform::URL::fileURL(dir / "missing"), {}).empty());
    EXPECT_EQ(FileManager::contentsOrEmpty(platform::URL::fileURL(dir.str()), {}).size(), 1u);
}

TEST(FileManagerTest, AnInterruptedScanListsNothing) {
    TempDir dir;
    writeFile(dir / "a", "x");
    auto context = FileFinderContext::make([](platform::URL) {});
    std::vector<URLResource> live, stopped;
    runInScan(context, [&] { live = FileManager::contents(platform::URL::fileURL(dir.str()), {}); });
    context->interrupt();
    runInScan(context, [&] { stopped = FileManager::contents(platform::URL::fileURL(dir.str()), {}); });
    EXPECT_EQ(live.size(), 1u);
    EXPECT_TRUE(stopped.empty());
}

// Counts native directory walks and can fail them with an errno.
struct SizerProbe {
    std::atomic<int> calls{0};
    std::atomic<int> error{0};
    std::atomic<bool> sawStopFlag{false};
    SizerProbe() {
        FileManager::setDirectorySizerForTesting([this](const char*, const std::atomic<bool>* stop, int32_t* err) {
            ++calls;
            sawStopFlag = stop != nullptr;
            if (error != 0) {
                *err = error;
                return int64_t{0};
            }
            return int64_t{4242};
        });
    }
    ~SizerProbe() {
        FileManager::setDirectorySizerForTesting(nullptr);
        FileManager::setHelperProviderForTesting(nullptr);
    }
};

class FakeHelper : public OMHelperProtocol {
public:
    std::promise<std::string> asked;
    std::atomic<int> stops{0};
    std::function<void(int64_t)> pendingReply;
    std::optional<int64_t> answer;  // reply at once when set
    bool replyOnStop = true;

    void test(std::function<void()> reply) override { reply(); }
    void deleteAtPaths(const std::vector<std::string>&, const std::vector<std::string>&) override {}
    void pauseDeleting() override {}
    void resumeDeleting() override {}
    void stopDeleting() override {}
    void getDirectorySizeAt(const std::string& path, std::function<void(int64_t)> with) override {
        if (answer) {
            with(*answer);
        } else {
            pendingReply = std::move(with);
        }
        asked.set_value(path);
    }
    void stopGettingSize() override {
        ++stops;
        if (pendingReply && replyOnStop) pendingReply(77);
    }
    void shredFile(const std::string&, std::function<void(bool)> with) override { with(false); }
    void changeMode(bool) override {}
    void reindexSpotlight(std::function<void(bool)> reply) override { reply(false); }
    void clearDNSCache(std::function<void(bool)> reply) override { reply(false); }
};

TEST(FileManagerTest, SizeOfFilesAndDirectories) {
    TempDir dir;
    SizerProbe probe;
    writeFile(dir / "f", std::string(1000, 'x'));
    writeFile(dir / "d/inner", "x");
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);

    EXPECT_EQ(FileManager::size(platform::URL::fileURL(dir / "f")), 1000);
    EXPECT_EQ(FileManager::size(platform::URL::fileURL(dir / "missing")), 0);
    EXPECT_EQ(FileManager::size(platform::URL::fileURL(dir / "fifo")), 0);
    EXPECT_EQ(probe.calls, 0) << "only directories are walked";

    EXPECT_EQ(FileManager::size(platform::URL::fileURL(dir / "d")), 4242);
    EXPECT_EQ(probe.calls, 1);
    EXPECT_FALSE(probe.sawStopFlag) << "outside a scan there is nothing to stop";

    auto context = FileFinderContext::make([](platform::URL) {});
    int64_t inScan = -1;
    runInScan(context, [&] { inScan = FileManager::size(platform::URL::fileURL(dir / "d")); });
    EXPECT_EQ(inScan, 4242);
    EXPECT_TRUE(probe.sawStopFlag);
    context->interrupt();
    runInScan(context, [&] { inScan = FileManager::size(platform::URL::fileURL(dir / "d")); });
    EXPECT_EQ(inScan, 0);
    EXPECT_EQ(probe.calls, 2) << "an interrupted scan doesn't walk";
}

// A folder whose native walk is refused for want of rights.
class PrivilegedSizeTest : public testing::Test {
protected:
    void SetUp() override {
        writeFile(dir / "d/inner", "x");
        probe.error = EACCES;
    }
    // On a thread of its own: the main thread never waits for the helper,
    // and the thread running the tests may have become the main thread.
    // Nothing when the size takes longer than the suite's patience (the
    // thread is then left behind, and the test fails instead of hanging).
    std::optional<int64_t> sizeOfFolder() {
        auto task = std::make_shared<std::packaged_task<int64_t()>>([url = folder()] { return FileManager::size(url); });
        auto size = task->get_future();
        std::thread([task] { (*task)(); }).detach();
        if (size.wait_for(kPatience) != std::future_status::ready) return std::nullopt;
        return size.get();
    }
    platform::URL folder() const { return platform::URL::fileURL(dir / "d"); }
    TempDir dir;
    SizerProbe probe;
    std::shared_ptr<FakeHelper> helper = std::make_shared<FakeHelper>();
};

TEST_F(PrivilegedSizeTest, UnreadableDirectoriesAreSizedByTheHelper) {
    // No helper to be had: the size is unknown, hence 0.
    FileManager::setHelperProviderForTesting([](std::function<void()>) { return nullptr; });
    EXPECT_EQ(sizeOfFolder(), 0);

    helper->answer = 9000;
    FileManager::setHelperProviderForTesting([this](std::function<void()>) { return helper; });
    EXPECT_EQ(sizeOfFolder(), 9000);
    auto asked = helper->asked.get_future();
    ASSERT_EQ(asked.wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(asked.get(), dir / "d");

    // Other errors don't go to the helper.
    probe.error = EIO;
    EXPECT_EQ(sizeOfFolder(), 0);
}

TEST_F(PrivilegedSizeTest, InterruptingAScanStopsTheHelpersSizing) {
    FileManager::setHelperProviderForTesting([this](std::function<void()>) { return helper; });
    auto context = FileFinderContext::make([](platform::URL) {});
    auto asked = helper->asked.get_future();

    auto scan = std::async(std::launch::async, [&] {
        int64_t size = -1;
        runInScan(context, [&] { size = FileManager::size(folder()); });
        return size;
    });
    ASSERT_EQ(asked.wait_for(kPatience), std::future_status::ready);
    context->interrupt();
    ASSERT_EQ(scan.wait_for(kPatience), std::future_status::ready) << "the interrupt did not end the wait";
    EXPECT_EQ(scan.get(), 77);
    EXPECT_EQ(helper->stops, 1);
}

TEST_F(PrivilegedSizeTest, AStopThatCameBeforeTheHandlerIsNotLost) {
    FileManager::setHelperProviderForTesting([this](std::function<void()>) { return helper; });
    auto context = FileFinderContext::make([](platform::URL) {});
    context->interrupt();
    std::atomic<int> calls{0};
    context->setOnInterrupted([&] { ++calls; });
    EXPECT_EQ(calls, 1) << "set on an interrupted context, the handler runs at once";
}

TEST_F(PrivilegedSizeTest, AHelperThatNeverAnswersIsGivenUpAtTheDeadline) {
    testing_support::ScopedSimulatedClock clock;
    helper->replyOnStop = false;
    FileManager::setHelperProviderForTesting([this](std::function<void()>) { return helper; });
    auto asked = helper->asked.get_future();
    auto size = std::async(std::launch::async, [&] { return sizeOfFolder(); });
    ASSERT_EQ(asked.wait_for(kPatience), std::future_status::ready);
    clock->advance(FileManager::kPrivilegedSizeDeadline - std::chrono::seconds(1));
    EXPECT_EQ(size.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    clock->advance(std::chrono::seconds(1));
    ASSERT_EQ(size.wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(size.get(), 0);
    EXPECT_EQ(helper->stops, 1) << "the helper is told to stop its walk";
}

TEST_F(PrivilegedSizeTest, TheMainThreadNeverWaitsForTheHelper) {
    FileManager::setHelperProviderForTesting([this](std::function<void()>) { return helper; });
    int64_t size = -1;
    platform::dispatch::mainQueue()->async([&] { size = FileManager::size(folder()); });
    ASSERT_TRUE(platform::dispatch::runMainLoopUntil([&] { return size != -1; }, kPatience));
    EXPECT_EQ(size, 0);
    EXPECT_EQ(helper->asked.get_future().wait_for(std::chrono::seconds(0)), std::future_status::timeout)
        << "the helper was never asked";
}

TEST_F(PrivilegedSizeTest, LostHelperConnectionEndsTheWait) {
    std::function<void()> lost;
    std::mutex lostMutex;
    FileManager::setHelperProviderForTesting([&](std::function<void()> onLost) {
        std::lock_guard lock(lostMutex);
        lost = std::move(onLost);
        return helper;
    });
    auto asked = helper->asked.get_future();
    auto size = std::async(std::launch::async, [&] { return sizeOfFolder(); });
    ASSERT_EQ(asked.wait_for(kPatience), std::future_status::ready);
    {
        std::lock_guard lock(lostMutex);
        lost();
    }
    ASSERT_EQ(size.wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(size.get(), 0);
}

TEST(FileManagerTest, TrashFolders) {
    TempDir root, home;
    testing_support::ScopedLayout layout(root.str(), home.str());
    EXPECT_FALSE(FileManager::trashBinPath());
    writeFile(home / ".local/share/Trash/files/x", "x");
    EXPECT_EQ(FileManager::trashBinPath(), home / ".local/share/Trash/files");
    writeFile(home / ".Trash/y", "y");
    EXPECT_EQ(FileManager::trashBinPath(), home / ".Trash");

    EXPECT_TRUE(FileManager::isTrashBinPath(home / ".Trash"));
    EXPECT_TRUE(FileManager::isTrashBinPath(home / ".Trash/"));
    EXPECT_TRUE(FileManager::isTrashBinPath(home / ".local/share/Trash/files"));
    EXPECT_FALSE(FileManager::isTrashBinPath(home / ".Trash/y"));
    EXPECT_FALSE(FileManager::isTrashBinPath(home.str()));
}

TEST(TaskSyncRunnerTest, OutputStatusAndLaunchFailures) {
    EXPECT_EQ(taskSyncRunner("/bin/echo", {"hello", "world"}), "hello world\n");
    // Output well past a pipe's buffer is read to its end.
    auto big = platform::ProcessRunner::run("/usr/bin/head", {"-c", "200000", "/dev/zero"});
    EXPECT_EQ(big.output.size(), 200000u);
    EXPECT_EQ(big.exitStatus, 0);
    EXPECT_EQ(platform::ProcessRunner::run("/bin/sh", {"-c", "exit 3"}).exitStatus, 3);

    auto missing = platform::ProcessRunner::run("/nonexistent/tool", {});
    EXPECT_FALSE(missing.launched());
    EXPECT_EQ(missing.launchError, ENOENT);
    auto text = taskSyncRunner("/nonexistent/tool", {});
    EXPECT_NE(text.find("/nonexistent/tool"), std::string::npos);
    EXPECT_NE(text.find("couldn't be launched"), std::string::npos);
}

TEST(TaskSyncRunnerTest, ToolsAreLookedUpUnderTheRoot) {
    TempDir root, home;
    testing_support::ScopedLayout layout(root.str(), home.str());
    writeFile(root / "usr/bin/fake-id", "#!/bin/sh\necho 501\n");
    ASSERT_EQ(::chmod((root / "usr/bin/fake-id").c_str(), 0755), 0);
    EXPECT_EQ(taskSyncRunner("/usr/bin/fake-id", {}), "501\n");
}

TEST(PlistContentTest, OnlyDictionariesAreContent) {
    TempDir dir;
    platform::PlistValue info(platform::PlistValue::Dictionary{{"CFBundleIdentifier", "com.example.App"},
                                                               {"Count", int64_t{3}}});
    writeFile(dir / "xml.plist", platform::toXmlPropertyList(info));
    writeFile(dir / "binary.plist", platform::toBinaryPropertyList(info));
    writeFile(dir / "array.plist", platform::toXmlPropertyList(platform::PlistValue::Array{"a"}));
    writeFile(dir / "garbage.plist", "not a property list");

    for (const char* name : {"xml.plist", "binary.plist"}) {
        auto content = readPlistContent(dir / name);
        ASSERT_TRUE(content) << name;
        EXPECT_EQ(*content->at("CFBundleIdentifier").string(), "com.example.App");
        EXPECT_EQ(*content->at("Count").integer(), 3);
    }
    EXPECT_FALSE(readPlistContent(dir / "array.plist"));
    EXPECT_FALSE(readPlistContent(dir / "garbage.plist"));
    EXPECT_FALSE(readPlistContent(dir / "missing.plist"));
    EXPECT_FALSE(readPlistContent(dir.str()));
}

TEST(MapKeysTest, TransformsKeysAndPassesFailuresOn) {
    std::map<std::string, int> byName{{"a", 1}, {"bb", 2}};
    auto byLength = mapKeys(byName, [](const std::string& k) { return k.size(); });
    EXPECT_EQ(byLength, (std::map<size_t, int>{{1, 1}, {2, 2}}));

    std::unordered_map<int, std::string> numbers{{1, "one"}, {2, "two"}};
    auto negated = mapKeys(numbers, [](int k) { return -k; });
    EXPECT_EQ(negated.at(-2), "two");

    EXPECT_THROW(mapKeys(byName,
                         [](const std::string& k) -> int {
                             if (k == "bb") throw std::invalid_argument(k);
                             return 0;
                         }),
                 std::invalid_argument);
}

}  // namespace
