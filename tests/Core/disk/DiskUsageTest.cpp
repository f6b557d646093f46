#include "Core/disk/DiskUsage.h"

#include "platform/MetadataIndex.h"
#include "support/Await.h"
#include "support/MainLoopPump.h"
#include "support/ScopedSimulatedClock.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <map>

namespace fs = std::filesystem;
using Core::DiskFileTreeNode;
using Core::DiskUsage;
using Core::DiskUsageFolderType;
using Core::DiskUsageNodeType;
using testing_support::allocated;
using testing_support::Flag;
using testing_support::pumpMainLoopUntil;
using testing_support::ScopedLayout;
using testing_support::TempDir;
using testing_support::writeFileOfSize;

namespace {

// Answers the package query with what the test says.
class FakeIndex : public platform::MetadataIndexWrapper {
public:
    FakeIndex() : MetadataIndexWrapper(std::make_shared<platform::MetadataIndex>()) {}
    platform::MetadataAnswer packages(const std::string&) const override { return known; }
    platform::MetadataAnswer known = std::vector<platform::MetadataItem>{};
};

class DiskUsageTest : public testing::Test {
protected:
    void SetUp() override { platform::MetadataIndex::setShared(index); }
    void TearDown() override { platform::MetadataIndex::setShared(nullptr); }

    // Starts a scan of `path` and records what the host hears.
    void start(const std::string& path) {
        scan->setOnProgress([this](int percent) { progress.push_back(percent); });
        scan->setOnCompletion([this](std::shared_ptr<Core::DiskUsageTreeNode> node) {
            ++completions;
            root = std::dynamic_pointer_cast<DiskFileTreeNode>(node);
        });
        scan->start(path);
    }
    std::shared_ptr<DiskFileTreeNode> scanToEnd(const std::string& path) {
        start(path);
        EXPECT_TRUE(pumpMainLoopUntil([&] { return completions > 0; }));
        return root;
    }

    static const DiskFileTreeNode* child(const DiskFileTreeNode& node, const std::string& name) {
        if (!node.children()) return nullptr;
        for (const auto& c : *node.children())
            if (c->name() == name) return c.get();
        return nullptr;
    }
    // `name` below `parent` is a package the walk took whole, of `size` bytes.
    static void expectBundle(const DiskFileTreeNode* parent, const std::string& name, int64_t size) {
        const auto* node = child(*parent, name);
        ASSERT_NE(node, nullptr) << name;
        EXPECT_EQ(node->fileType(), DiskUsageNodeType::folder(DiskUsageFolderType::bundle)) << name;
        EXPECT_EQ(node->size(), size) << name;
        EXPECT_EQ(node->children(), nullptr) << name;
    }

    std::shared_ptr<FakeIndex> index = std::make_shared<FakeIndex>();
    std::shared_ptr<DiskUsage> scan = std::make_shared<DiskUsage>();
    std::vector<int> progress;
    int completions = 0;
    std::shared_ptr<DiskFileTreeNode> root;
};

TEST_F(DiskUsageTest, TheTreeSumsAllocatedSizesAndCountsHardLinksOnce) {
    TempDir dir;
    writeFileOfSize(dir / "a/one", 10000);
    writeFileOfSize(dir / "a/b/two", 5000);
    writeFileOfSize(dir / "three", 3000);
    fs::create_hard_link(dir / "a/one", dir / "a/b/link-to-one");
    fs::create_symlink(dir / "three", dir / "sym");
    fs::create_directories(dir / "empty");
    ScopedLayout layout(dir.str(), dir.str());

    auto tree = scanToEnd(dir.str());
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->path(), dir.str());
    const auto* a = child(*tree, "a");
    const auto* b = a ? child(*a, "b") : nullptr;
    ASSERT_TRUE(a && b);
    // One of the two names of the hard-linked file is listed, whichever came first.
    int names = (child(*a, "one") ? 1 : 0) + (child(*b, "link-to-one") ? 1 : 0);
    EXPECT_EQ(names, 1);
    int64_t expected = allocated(dir / "a/one") + allocated(dir / "a/b/two") + allocated(dir / "three") +
                       allocated(dir / "sym");
    EXPECT_EQ(tree->size(), expected);
    EXPECT_EQ(a->size(), allocated(dir / "a/one") + allocated(dir / "a/b/two"));
    EXPECT_EQ(child(*tree, "sym")->fileType(), DiskUsageNodeType::file(Core::DiskUsageFileType::symbolic));
    EXPECT_EQ(child(*tree, "empty")->size(), 0);
    EXPECT_EQ(progress.back(), 100);
    EXPECT_TRUE(scan->currentState() == Core::DiskUsageState::ready);
}

TEST_F(DiskUsageTest, KnownPackagesAreNotEnteredAndDevIsIgnored) {
    TempDir dir;
    writeFileOfSize(dir / "Apps/Known.app/Contents/exe", 50000);
    writeFileOfSize(dir / "Apps/Unknown.app/Contents/exe", 4000);
    writeFileOfSize(dir / "Apps/Tiny.app/Contents/exe", 4000);
    writeFileOfSize(dir / "dev/null-ish", 8000);
    ScopedLayout layout(dir.str(), dir.str());
    index->known = std::vector<platform::MetadataItem>{{dir / "Apps/Known.app", 1234567},
                                                       {dir / "Apps/Tiny.app", 0}};

    auto tree = scanToEnd(dir.str());
    ASSERT_NE(tree, nullptr);
    const auto* apps = child(*tree, "Apps");
    ASSERT_NE(apps, nullptr);
    expectBundle(apps, "Known.app", 1234567);
    for (const char* walked : {"Unknown.app", "Tiny.app"}) {  // a size below 1 isn't taken
        const auto* node = child(*apps, walked);
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->fileType(), DiskUsageNodeType::folder(DiskUsageFolderType::browsable));
        EXPECT_EQ(node->size(), allocated(dir / (std::string("Apps/") + walked + "/Contents/exe")));
    }
    const auto* dev = child(*tree, "dev");
    ASSERT_NE(dev, nullptr);
    EXPECT_EQ(dev->fileType(), DiskUsageNodeType::folder(DiskUsageFolderType::ignored));
    EXPECT_FALSE(dev->hasSize());
    EXPECT_EQ(dev->children(), nullptr);
    EXPECT_EQ(tree->size(), 1234567 + 2 * allocated(dir / "Apps/Tiny.app/Contents/exe"));
}

TEST_F(DiskUsageTest, WithoutAnIndexTheWalkDoesAllTheWork) {
    TempDir dir;
    writeFileOfSize(dir / "Known.app/exe", 50000);
    index->known = std::nullopt;  // the query can't start
    auto tree = scanToEnd(dir.str());
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(child(*tree, "Known.app")->size(), allocated(dir / "Known.app/exe"));
}

TEST_F(DiskUsageTest, TheStandInIndexSizesThePackagesTheWalkMeets) {
    TempDir dir;
    writeFileOfSize(dir / "Apps/Full.app/Contents/exe", 40000);
    fs::create_hard_link(dir / "Apps/Full.app/Contents/exe", dir / "Apps/Full.app/Contents/again");
    writeFileOfSize(dir / "Apps/Hollow.app/Contents/empty", 0);
    writeFileOfSize(dir / "Apps/Plain/exe", 6000);
    ScopedLayout layout(dir.str(), dir.str());
    platform::MetadataIndex::setShared(nullptr);

    auto tree = scanToEnd(dir.str());
    ASSERT_NE(tree, nullptr);
    const auto* apps = child(*tree, "Apps");
    ASSERT_NE(apps, nullptr);
    // The index counts every name of a hard-linked file; the walk would have
    // counted it once, so this size can only be the index's.
    const int64_t fullSize = 2 * allocated(dir / "Apps/Full.app/Contents/exe");
    expectBundle(apps, "Full.app", fullSize);
    // A package whose files hold no blocks isn't in the index's answer: entered.
    const auto* hollow = child(*apps, "Hollow.app");
    ASSERT_NE(hollow, nullptr);
    EXPECT_EQ(hollow->fileType(), DiskUsageNodeType::folder(DiskUsageFolderType::browsable));
    EXPECT_NE(child(*hollow, "Contents"), nullptr);
    EXPECT_EQ(tree->size(), fullSize + allocated(dir / "Apps/Plain/exe"));
}

TEST_F(DiskUsageTest, AFileIsOneNodeAndMissingOrEmptyPathsGiveNoNode) {
    TempDir dir;
    writeFileOfSize(dir / "f", 5000);
    auto tree = scanToEnd(dir / "f");
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->size(), allocated(dir / "f"));
    EXPECT_EQ(tree->children(), nullptr);

    for (std::string path : {dir / "missing", std::string()}) {
        completions = 0;
        root = std::make_shared<DiskFileTreeNode>("x", std::nullopt, 1);
        progress.clear();
        scanToEnd(path);
        EXPECT_EQ(root, nullptr) << path;
        ASSERT_GE(progress.size(), 2u);
        EXPECT_GE(progress[progress.size() - 2], 96);
        EXPECT_EQ(progress.back(), 100);
    }
}

// A walk held at one folder: the test lets it go on.
struct Gate {
    void hold(const std::string& path) {
        if (path != target) return;
        reached.set();
        opened.get_future().wait();
    }
    std::string target;
    Flag reached;
    std::promise<void> opened;
};

TEST_F(DiskUsageTest, ProgressCreepsBelow96ThenEndsAt100AndASecondStartDoesNothing) {
    testing_support::ScopedSimulatedClock clock;
    TempDir dir;
    writeFileOfSize(dir / "a/b/f", 100);
    Gate gate;
    gate.target = dir / "a/b";
    scan->setTraverseHookForTesting([&](const std::string& path) { gate.hold(path); });
    start(dir.str());
    ASSERT_TRUE(gate.reached.await());
    // The values of the query's start and end come first.
    ASSERT_TRUE(pumpMainLoopUntil([&] { return progress.size() >= 2; }));
    // Already started: no second walk, though the counter starts again from 0.
    scan->start(dir / "a");
    for (int tick = 0; tick < 20; ++tick) {
        size_t before = progress.size();
        clock->advance(std::chrono::seconds(1));
        ASSERT_TRUE(pumpMainLoopUntil([&] { return progress.size() > before; })) << tick;
    }
    gate.opened.set_value();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return completions > 0; }));
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(completions, 1);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->path(), dir.str());
    ASSERT_EQ(progress.size(), 24u);
    for (size_t i = 3; i < progress.size(); ++i) EXPECT_GE(progress[i], progress[i - 1]) << i;
    for (size_t i = 0; i + 2 < progress.size(); ++i) EXPECT_LT(progress[i], 96);
    EXPECT_GE(progress[progress.size() - 2], 96);
    EXPECT_LE(progress[progress.size() - 2], 99);
    EXPECT_EQ(progress.back(), 100);
}

TEST_F(DiskUsageTest, AStoppedScanNeverCompletes) {
    TempDir dir;
    writeFileOfSize(dir / "a/b/f", 100);
    writeFileOfSize(dir / "a/b/c/g", 100);
    Gate gate;
    gate.target = dir / "a/b";
    Flag ended;
    scan->setTraverseHookForTesting([&](const std::string& path) { gate.hold(path); });
    scan->setWalkEndedHookForTesting([&] { ended.set(); });
    start(dir.str());
    ASSERT_TRUE(gate.reached.await());
    scan->stop();
    EXPECT_TRUE(scan->isStopped());
    gate.opened.set_value();
    ASSERT_TRUE(ended.await());
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(completions, 0);
    for (int percent : progress) EXPECT_LT(percent, 96);
}

TEST_F(DiskUsageTest, TheTimeoutReportsWhereTheWalkStoodAndDeliversThePartialTree) {
    // The simulated clock keeps the limit from passing before the walk is held.
    testing_support::ScopedSimulatedClock clock;
    TempDir dir;
    writeFileOfSize(dir / "f", 3000);
    writeFileOfSize(dir / "slow/inner/g", 100);
    Gate gate;
    gate.target = dir / "slow";
    scan->setTimeoutIntervalForTesting(0.05);
    scan->setTraverseHookForTesting([&](const std::string& path) { gate.hold(path); });
    int operations = -1;
    std::string where;
    scan->setOnDUScanningTimeout([&](int count, const std::string& path, const struct stat& info) {
        operations = count;
        where = path;
        EXPECT_TRUE(S_ISDIR(info.st_mode));
    });
    start(dir.str());
    ASSERT_TRUE(gate.reached.await());
    clock->advance(std::chrono::milliseconds(60));
    ASSERT_TRUE(pumpMainLoopUntil([&] { return operations >= 0; }));
    EXPECT_GE(operations, 1);
    EXPECT_EQ(where, dir / "slow");
    gate.opened.set_value();
    ASSERT_TRUE(pumpMainLoopUntil([&] { return completions > 0; }));
    ASSERT_NE(root, nullptr);
    const auto* slow = child(*root, "slow");
    ASSERT_NE(slow, nullptr);
    EXPECT_EQ(slow->children(), nullptr);  // cut off before its listing was handed on
    EXPECT_EQ(root->size(), allocated(dir / "f"));
    EXPECT_EQ(progress.back(), 100);
}

TEST_F(DiskUsageTest, SystemStorageUsageIsTheHomesVolume) {
    TempDir dir;
    ScopedLayout layout("/", dir.str());
    auto usage = scan->systemStorageUsage();
    EXPECT_GT(usage.totalSize, 0u);
    EXPECT_LE(usage.availableSize, usage.totalSize);
    EXPECT_EQ(usage.usedSize(), usage.totalSize - usage.availableSize);
    ScopedLayout missing("/", dir / "missing");
    EXPECT_THROW(scan->systemStorageUsage(), std::system_error);
}

}  // namespace
