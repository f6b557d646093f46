#include "disk/OMFolderExtractor.h"

#include "support/TempDir.h"
#include "support/WithoutFileRights.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <linux/magic.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>

namespace fs = std::filesystem;
using Core::OMFolderElement;
using Core::OMFolderExtractor;
using testing_support::allocated;
using testing_support::TempDir;
using testing_support::writeFileOfSize;

namespace {

struct Listing {
    std::vector<OMFolderElement> folders;
    std::vector<OMFolderElement> files;
    std::vector<std::string> calls;  // the order the callbacks came in

    const OMFolderElement* file(const std::string& path) const {
        for (const auto& element : files)
            if (element.path() == path) return &element;
        return nullptr;
    }
    std::vector<std::string> folderPaths() const {
        std::vector<std::string> paths;
        for (const auto& element : folders) paths.push_back(element.path());
        std::sort(paths.begin(), paths.end());
        return paths;
    }
};

enum class Method { bulk, entryByEntry };

Listing list(Method method, const std::string& path) {
    Listing listing;
    auto folders = [&](std::vector<OMFolderElement> found) {
        listing.calls.push_back("folders");
        listing.folders = std::move(found);
    };
    auto files = [&](std::vector<OMFolderElement> found) {
        listing.calls.push_back("files");
        listing.files = std::move(found);
    };
    auto completion = [&] { listing.calls.push_back("completion"); };
    if (method == Method::bulk)
        OMFolderExtractor::extractFolderUsingAttrListMethodWith(path, folders, files, completion);
    else
        OMFolderExtractor::extractFolderWith(path, folders, files, completion);
    return listing;
}

// Starts a scan on the device of `root` and marks the root as seen, as the
// disk scan does.
void startScan(const std::string& root) {
    struct stat st {};
    ASSERT_EQ(Core::getFileInfo(root.c_str(), &st), 0);
    OMFolderExtractor::setupScanContextWithDeviceNumber(st.st_dev);
    OMFolderExtractor::isAlreadyPresent(st.st_ino);
}

class FolderListingTest : public ::testing::TestWithParam<Method> {};

}  // namespace

TEST_P(FolderListingTest, SplitsFoldersAndFilesWithTheirKindsAndSizes) {
    TempDir dir;
    writeFileOfSize(dir / "plain", 10000);
    writeFileOfSize(dir / "sub/inner", 5);
    fs::create_directory(dir / "empty");
    writeFileOfSize(dir / "zero", 0);
    fs::create_symlink("plain", dir / "link");
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
    startScan(dir.str());

    Listing listing = list(GetParam(), dir.str());
    EXPECT_EQ(listing.calls, (std::vector<std::string>{"folders", "files", "completion"}));
    EXPECT_EQ(listing.folderPaths(), (std::vector<std::string>{dir / "empty", dir / "sub"}));
    for (const auto& folder : listing.folders) {
        EXPECT_TRUE(folder.isFolder());
        EXPECT_EQ(folder.size(), 0u);
    }
    ASSERT_EQ(listing.files.size(), 4u);
    const OMFolderElement* plain = listing.file(dir / "plain");
    ASSERT_NE(plain, nullptr);
    EXPECT_TRUE(plain->isNormalFile());
    EXPECT_EQ(int64_t(plain->size()), allocated(dir / "plain"));
    EXPECT_GE(plain->size(), 10000u);
    ASSERT_NE(listing.file(dir / "zero"), nullptr);
    EXPECT_EQ(listing.file(dir / "zero")->size(), 0u);
    const OMFolderElement* link = listing.file(dir / "link");
    ASSERT_NE(link, nullptr);
    EXPECT_TRUE(link->isSymbolicLink());
    EXPECT_FALSE(link->isNormalFile());
    const OMFolderElement* pipe = listing.file(dir / "pipe");
    ASSERT_NE(pipe, nullptr);
    EXPECT_TRUE(pipe->isSpecialFile());
    EXPECT_EQ(pipe->size(), 0u);
}

TEST_P(FolderListingTest, AFolderThatCannotBeOpenedGivesCompletionOnly) {
    TempDir dir;
    writeFileOfSize(dir / "file", 1);
    startScan(dir.str());
    for (const std::string& path : {dir / "missing", dir / "file", std::string()})
        EXPECT_EQ(list(GetParam(), path).calls, std::vector<std::string>{"completion"}) << path;
}

TEST_P(FolderListingTest, EachFileNumberIsListedOnceInAScan) {
    TempDir dir;
    writeFileOfSize(dir / "a/original", 4096);
    fs::create_directories(dir / "b");
    fs::create_hard_link(dir / "a/original", dir / "b/second");
    fs::create_hard_link(dir / "a/original", dir / "a/third");
    startScan(dir.str());

    Listing a = list(GetParam(), dir / "a");
    Listing b = list(GetParam(), dir / "b");
    EXPECT_EQ(a.files.size() + b.files.size(), 1u);
    // The same folder listed again in the same scan gives nothing new.
    EXPECT_TRUE(list(GetParam(), dir / "a").files.empty());
    // A new scan forgets what the last one saw.
    startScan(dir.str());
    EXPECT_EQ(list(GetParam(), dir / "b").files.size(), 1u);
}

TEST_P(FolderListingTest, EntriesOnOtherDevicesAreLeftOut) {
    TempDir dir;
    fs::create_directories(dir / "mnt");
    writeFileOfSize(dir / "local", 1);
    if (::mount("none", (dir / "mnt").c_str(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "cannot mount a tmpfs here (" << std::strerror(errno) << "); needs root in a mount namespace";
    writeFileOfSize(dir / "mnt/inside", 1);
    startScan(dir.str());
    Listing listing = list(GetParam(), dir.str());
    ::umount((dir / "mnt").c_str());
    EXPECT_TRUE(listing.folders.empty());
    ASSERT_EQ(listing.files.size(), 1u);
    EXPECT_EQ(listing.files[0].path(), dir / "local");
}

INSTANTIATE_TEST_SUITE_P(BothMethods, FolderListingTest, ::testing::Values(Method::bulk, Method::entryByEntry),
                         [](const auto& info) { return info.param == Method::bulk ? "Bulk" : "EntryByEntry"; });

TEST(BulkEntryRulesTest, LinksAboveTenMillionBytesCountZeroAndHugeFoldersBecomeFiles) {
    using Core::internal::classifyBulkEntry;
    using Core::internal::ObjectType;
    using Kind = OMFolderElement::Kind;
    EXPECT_EQ(classifyBulkEntry(ObjectType::symbolicLink, -1, 10000000).size, 10000000u);
    EXPECT_EQ(classifyBulkEntry(ObjectType::symbolicLink, -1, 10000001).size, 0u);
    EXPECT_EQ(classifyBulkEntry(ObjectType::symbolicLink, -1, 10000001).kind, Kind::symbolicLink);
    EXPECT_EQ(classifyBulkEntry(ObjectType::regular, -1, 20000000).size, 20000000u);

    EXPECT_EQ(classifyBulkEntry(ObjectType::directory, 65535, 4096).kind, Kind::folder);
    EXPECT_EQ(classifyBulkEntry(ObjectType::directory, -1, 4096).kind, Kind::folder);
    auto huge = classifyBulkEntry(ObjectType::directory, 65536, 4096);
    EXPECT_EQ(huge.kind, Kind::normalFile);
    EXPECT_EQ(huge.size, 2097152u);
    // The count is masked to 27 bits before the estimate.
    EXPECT_EQ(classifyBulkEntry(ObjectType::directory, 0x8000000 + 0x10000, 0).size, 0x10000u * 32);
    EXPECT_EQ(classifyBulkEntry(ObjectType::other, -1, 4096).kind, Kind::specialFile);
    EXPECT_EQ(classifyBulkEntry(ObjectType::other, -1, 4096).size, 0u);
}

TEST(BulkEntryRulesTest, AHugeTmpfsFolderIsListedAsOneFile) {
    struct statfs info {};
    if (::statfs("/dev/shm", &info) != 0 || info.f_type != TMPFS_MAGIC)
        GTEST_SKIP() << "/dev/shm is not a tmpfs here";
    char templ[] = "/dev/shm/core-test-XXXXXX";
    ASSERT_NE(::mkdtemp(templ), nullptr);
    std::string root = templ;
    std::string big = root + "/big";
    ASSERT_EQ(::mkdir(big.c_str(), 0700), 0);
    int bigFd = ::open(big.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(bigFd, 0);
    for (int i = 0; i < 65535; ++i) {
        int fd = ::openat(bigFd, std::to_string(i).c_str(), O_CREAT | O_WRONLY, 0600);
        ASSERT_GE(fd, 0);
        ::close(fd);
    }
    startScan(root);
    Listing atLimit = list(Method::bulk, root);
    ASSERT_EQ(atLimit.folders.size(), 1u);

    ::close(::openat(bigFd, "one-more", O_CREAT | O_WRONLY, 0600));
    ::close(bigFd);
    startScan(root);
    Listing overLimit = list(Method::bulk, root);
    EXPECT_TRUE(overLimit.folders.empty());
    ASSERT_EQ(overLimit.files.size(), 1u);
    EXPECT_TRUE(overLimit.files[0].isNormalFile());
    EXPECT_EQ(overLimit.files[0].size(), 2097152u);
    fs::remove_all(root);
}

namespace {

// du's total over the regular files below `root`, each link counted.
int64_t duOfRegularFiles(const std::string& root) {
    std::string command = "find '" + root + "' -type f -print0 | du -l -c -B1 --files0-from=- | tail -n 1";
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return -1;
    long long total = -1;
    if (std::fscanf(pipe, "%lld", &total) != 1) total = -1;
    ::pclose(pipe);
    return total;
}

}  // namespace

TEST(GetDirectorySizeTest, AgreesWithDuOnTheSameTree) {
    TempDir dir;
    for (int i = 0; i < 30; ++i)
        writeFileOfSize(dir / ("d" + std::to_string(i % 4) + "/n" + std::to_string(i % 3) + "/f" + std::to_string(i)),
                        static_cast<size_t>(i) * 1777);
    fs::create_hard_link(dir / "d1/n1/f1", dir / "d2/hard");
    fs::create_symlink(dir / "d0", dir / "loop");
    fs::create_symlink("/usr", dir / "d3/outside");
    ASSERT_EQ(::mkfifo((dir / "d1/pipe").c_str(), 0600), 0);

    int32_t error = 0;
    int64_t size = Core::GetDirectorySize(dir.str().c_str(), nullptr, &error);
    EXPECT_EQ(error, 0);
    EXPECT_GT(size, 0);
    EXPECT_EQ(size, duOfRegularFiles(dir.str()));
    // A regular file is its own size; a link is not followed.
    EXPECT_EQ(Core::GetDirectorySize((dir / "d1/n1/f1").c_str(), nullptr, nullptr),
              allocated(dir / "d1/n1/f1"));
    EXPECT_EQ(Core::GetDirectorySize((dir / "loop").c_str(), nullptr, nullptr), 0);
}

TEST(GetDirectorySizeTest, StopsOnTheFlagAndReportsErrors) {
    TempDir dir;
    writeFileOfSize(dir / "a/b", 5000);
    std::atomic<bool> stop{true};
    EXPECT_EQ(Core::GetDirectorySize(dir.str().c_str(), &stop, nullptr), 0);
    stop = false;
    EXPECT_GT(Core::GetDirectorySize(dir.str().c_str(), &stop, nullptr), 0);

    int32_t error = 0;
    EXPECT_EQ(Core::GetDirectorySize((dir / "missing").c_str(), nullptr, &error), 0);
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(Core::GetDirectorySize((dir / "missing").c_str(), nullptr, nullptr), 0);
}

TEST(GetDirectorySizeTest, AnUnreadableFolderGivesEACCES) {
    TempDir dir;
    writeFileOfSize(dir / "open/file", 8192);
    writeFileOfSize(dir / "closed/file", 8192);
    ASSERT_EQ(::chmod((dir / "closed").c_str(), 0), 0);
    int32_t error = 0;
    int64_t size = -1;
    ASSERT_TRUE(testing_support::runWithoutFileRights(
        [&] { size = Core::GetDirectorySize(dir.str().c_str(), nullptr, &error); }));
    ::chmod((dir / "closed").c_str(), 0700);
    EXPECT_EQ(error, EACCES);
    EXPECT_EQ(size, allocated(dir / "open/file"));
}
