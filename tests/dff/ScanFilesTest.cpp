#include "dff/DuplicateFileFinder.h"

#include "support/FakePackageIndex.h"
#include "support/LogLines.h"
#include "support/PhotoLibraryBuilder.h"
#include "support/ScopedSimulatedClock.h"
#include "support/TempDir.h"
#include "support/WithoutFileRights.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using testing_support::TempDir;
using testing_support::writeFile;
using testing_support::writeFileOfSize;

// Opens the walk's stages to the tests.
class Finder : public dff::DuplicateFileFinder {
public:
    // Every path is reported.
    Finder() : DuplicateFileFinder([](double) {}, [this](const dff::Path& p) { reported.push_back(p.str()); }) {
        setReportIntervalForTesting({});
    }
    using DuplicateFileFinder::scanFiles;
    using DuplicateFileFinder::scanPhotoLibrary;
    std::vector<std::string> reported;
};

class ScanFiles : public ::testing::Test {
protected:
    std::unique_ptr<dff::Directory> scan(const std::string& root) {
        return finder.scanFiles(dff::Path(root), files, links, packages, unknown, count);
    }

    static dff::File* child(const dff::Directory& dir, const std::string& name) {
        for (const auto& c : dir.children)
            if (c->path.str() == dir.path.str() + "/" + name) return c.get();
        return nullptr;
    }
    static dff::Directory* subdirectory(const dff::Directory& dir, const std::string& name) {
        return dynamic_cast<dff::Directory*>(child(dir, name));
    }
    template <class V>
    static std::vector<V> valuesUnder(const dff::Duplicate<long long, V>& index, long long key) {
        for (auto it = index.begin(); !it.atEnd(); ++it)
            if (it->key == key) return {it->values.begin(), it->values.end()};
        return {};
    }
    template <class V>
    static size_t valueCount(const dff::Duplicate<long long, V>& index) {
        size_t n = 0;
        for (auto it = index.begin(); !it.atEnd(); ++it) n += it->values.size();
        return n;
    }

    TempDir dir;
    Finder finder;
    testing_support::ScopedPackageIndex packageIndex;
    dff::Duplicate<long long, dff::File*> files;
    dff::Duplicate<long long, dff::Symlink*> links;
    dff::Duplicate<long long, dff::Package*> packages;
    std::deque<dff::Package*> unknown;
    int count = 0;
};

TEST_F(ScanFiles, FilesAtTheMinimumSizeAreTakenSmallerOnesMarkTheirFolder) {
    finder.minFileSize = 100;
    writeFileOfSize(dir / "r/ok/exact", 100);
    writeFileOfSize(dir / "r/ok/big", 5000);
    writeFileOfSize(dir / "r/small/tiny", 99);
    auto root = scan(dir / "r");

    auto* ok = subdirectory(*root, "ok");
    auto* small = subdirectory(*root, "small");
    ASSERT_TRUE(ok && small);
    EXPECT_FALSE(ok->unique);
    EXPECT_TRUE(small->unique);
    EXPECT_TRUE(small->children.empty());
    EXPECT_FALSE(root->unique) << "a mark stays with the folder that holds the entry";
    EXPECT_EQ(count, 2);
    EXPECT_EQ(valuesUnder(files, 100), std::vector<dff::File*>{child(*ok, "exact")});
    EXPECT_EQ(child(*ok, "exact")->parent, ok);
    EXPECT_EQ(child(*ok, "big")->size, 5000);
    EXPECT_EQ(valueCount(files), 2u);
}

TEST_F(ScanFiles, HiddenFoldersAreLeftOutUnlessAskedForHiddenFilesAlwaysCount) {
    writeFileOfSize(dir / "r/.hidden/inside", 10);
    writeFileOfSize(dir / "r/.secret", 10);
    auto root = scan(dir / "r");
    EXPECT_TRUE(root->unique);
    EXPECT_EQ(subdirectory(*root, ".hidden"), nullptr);
    ASSERT_NE(child(*root, ".secret"), nullptr);
    EXPECT_EQ(count, 1);

    Finder withHidden;
    withHidden.includeHiddenFolders = true;
    int n = 0;
    dff::Duplicate<long long, dff::File*> f;
    auto again = withHidden.scanFiles(dff::Path(dir / "r"), f, links, packages, unknown, n);
    EXPECT_FALSE(again->unique);
    auto* hidden = subdirectory(*again, ".hidden");
    ASSERT_NE(hidden, nullptr);
    EXPECT_NE(child(*hidden, "inside"), nullptr);
    EXPECT_EQ(n, 2);
}

TEST_F(ScanFiles, ExcludedExtensionsAndPathsMarkTheirFolder) {
    finder.excludeExtensions = {".log", ".app"};
    finder.excludePaths = {dff::Path(dir / "r/SKIP")};
    std::filesystem::create_directories(dir / "r/c/Tool.app");
    writeFileOfSize(dir / "r/a/app.LOG", 10);
    writeFileOfSize(dir / "r/a/keep.txt", 10);
    writeFileOfSize(dir / "r/b/.log", 10);  // the whole name is no extension
    writeFileOfSize(dir / "r/skip/x", 10);
    writeFileOfSize(dir / "r/skipper/x", 10);
    auto root = scan(dir / "r");

    auto* a = subdirectory(*root, "a");
    auto* b = subdirectory(*root, "b");
    ASSERT_TRUE(a && b);
    EXPECT_TRUE(a->unique);
    EXPECT_EQ(child(*a, "app.LOG"), nullptr);
    EXPECT_NE(child(*a, "keep.txt"), nullptr);
    EXPECT_FALSE(b->unique);
    EXPECT_NE(child(*b, ".log"), nullptr);
    EXPECT_EQ(subdirectory(*root, "skip"), nullptr) << "paths compare without case";
    EXPECT_NE(subdirectory(*root, "skipper"), nullptr) << "only the whole path is excluded";
    EXPECT_TRUE(subdirectory(*root, "c")->unique) << "an excluded package";
    EXPECT_TRUE(unknown.empty());
    EXPECT_TRUE(root->unique);
}

TEST_F(ScanFiles, PackagesAreSizedByTheIndexAndNeverWalked) {
    finder.minFileSize = 1000;
    writeFileOfSize(dir / "r/Unknown.app/Contents/big", 5000);
    writeFileOfSize(dir / "r/Known.bundle/file", 5000);
    writeFileOfSize(dir / "r/Cheap.app/file", 5000);  // the index counts no more bytes than nodes
    writeFileOfSize(dir / "r/small/Tiny.app/file", 10);
    packageIndex.set(dir / "r/Known.bundle", 5000, 2);
    packageIndex.set(dir / "r/Cheap.app", 3, 3);
    packageIndex.set(dir / "r/small/Tiny.app", 500, 2);
    auto root = scan(dir / "r");

    EXPECT_FALSE(root->unique);
    auto* known = dynamic_cast<dff::Package*>(child(*root, "Known.bundle"));
    ASSERT_NE(known, nullptr);
    EXPECT_EQ(known->size, 0) << "a package's size grows only while it is hashed";
    EXPECT_EQ(valuesUnder(packages, 5000), std::vector<dff::Package*>{known});
    ASSERT_EQ(unknown.size(), 2u);
    for (auto* p : unknown) {
        EXPECT_EQ(p->parent, root.get());
    }
    EXPECT_EQ(count, 0) << "nothing inside a package is walked";

    auto* small = subdirectory(*root, "small");
    ASSERT_NE(small, nullptr);
    EXPECT_TRUE(small->unique);
    EXPECT_TRUE(small->children.empty());
}

TEST_F(ScanFiles, LinksAreNeverFollowed) {
    finder.excludeExtensions = {".txt"};
    writeFileOfSize(dir / "target/deep/file", 10);
    std::filesystem::create_directories(dir / "r");
    std::filesystem::create_directory_symlink(dir / "target", dir / "r/folder-link");
    std::filesystem::create_symlink("x.txt", dir / "r/file-link.txt");  // links pass no filter
    auto root = scan(dir / "r");

    ASSERT_EQ(root->children.size(), 2u);
    auto* folderLink = dynamic_cast<dff::Symlink*>(child(*root, "folder-link"));
    ASSERT_NE(folderLink, nullptr);
    EXPECT_EQ(folderLink->size, (long long)(dir / "target").size());
    EXPECT_EQ(valuesUnder(links, folderLink->size), std::vector<dff::Symlink*>{folderLink});
    EXPECT_NE(dynamic_cast<dff::Symlink*>(child(*root, "file-link.txt")), nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_FALSE(root->unique);
}

TEST_F(ScanFiles, OddEntriesAndUnreadableFoldersMarkTheirFolder) {
    std::filesystem::create_directories(dir / "r/fifo");
    ASSERT_EQ(::mkfifo((dir / "r/fifo/pipe").c_str(), 0600), 0);
    std::filesystem::create_directories(dir / "r/locked");
    ::chmod((dir / "r/locked").c_str(), 0);
    testing_support::LogLines log;
    std::unique_ptr<dff::Directory> root;
    ASSERT_TRUE(testing_support::runWithoutFileRights([&] { root = scan(dir / "r"); }));
    ::chmod((dir / "r/locked").c_str(), 0700);
    EXPECT_TRUE(subdirectory(*root, "fifo")->unique);
    EXPECT_TRUE(subdirectory(*root, "fifo")->children.empty());
    EXPECT_TRUE(subdirectory(*root, "locked")->unique);

    EXPECT_TRUE(scan(dir / "missing")->unique);
    EXPECT_EQ(log.taken(), (std::vector<std::string>{
                               "duplicates: Failed to open directory: " + dir / "r/locked" + ": Permission denied (errno 13)",
                               "duplicates: Failed to open directory: " + dir / "missing" +
                                   ": No such file or directory (errno 2)"}));
}

// Dot entries and .DS_Store are neither reported nor a mark on their folder.
TEST_F(ScanFiles, EveryEntryIsReportedBeforeItIsLookedAt) {
    writeFileOfSize(dir / "r/sub/file", 10);
    std::filesystem::create_symlink("nowhere", dir / "r/link");
    writeFile(dir / "r/.DS_Store", "x");
    writeFile(dir / "r/sub/.DS_Store", "x");
    auto root = scan(dir / "r");
    std::vector<std::string> expected = {dir / "r/sub", dir / "r/link", dir / "r/sub/file"};
    std::sort(expected.begin(), expected.end());
    std::sort(finder.reported.begin(), finder.reported.end());
    EXPECT_EQ(finder.reported, expected);
    EXPECT_FALSE(subdirectory(*root, "sub")->unique);
    EXPECT_EQ(root->parent, nullptr);
}

TEST_F(ScanFiles, StopEndsTheWalkAndMarksTheFolderUnderWay) {
    for (int i = 0; i < 20; ++i) writeFileOfSize(dir / ("r/f" + std::to_string(i)), 10);
    finder.onCurrentPath = [this](const dff::Path&) { finder.stop(); };
    auto root = scan(dir / "r");
    EXPECT_TRUE(root->unique);
    EXPECT_EQ(root->children.size(), 1u) << "the entry under way is finished, the next one sees the flag";

    Finder stoppedEarly;
    stoppedEarly.stop();
    int n = 0;
    auto empty = stoppedEarly.scanFiles(dff::Path(dir / "r"), files, links, packages, unknown, n);
    EXPECT_TRUE(empty->children.empty());
    EXPECT_FALSE(empty->unique);
}

TEST(NotifyCurrentPath, ReportsAtMostOnceIn40MillisecondsOfItsOwnFinder) {
    testing_support::ScopedSimulatedClock clock;
    std::vector<std::string> seen, otherSeen;
    dff::DuplicateFileFinder finder([](double) {}, [&](const dff::Path& p) { seen.push_back(p.str()); });
    dff::DuplicateFileFinder other([](double) {}, [&](const dff::Path& p) { otherSeen.push_back(p.str()); });
    using std::chrono::microseconds;
    for (auto [path, step] : {std::pair{"/a", 0}, {"/b", 39999}, {"/c", 1}, {"/d", 39999}, {"/e", 1}}) {
        clock->advance(microseconds(step));
        finder.notifyCurrentPath(dff::Path(path));
    }
    other.notifyCurrentPath(dff::Path("/x"));
    EXPECT_EQ(seen, (std::vector<std::string>{"/a", "/c", "/e"}));
    EXPECT_EQ(otherSeen, (std::vector<std::string>{"/x"})) << "finders keep their own time";
}

// Case and a bare dot name are tested with the exclusions above.
TEST(WithExtension, MatchesCaseFoldedEndsOfLongerNames) {
    using F = dff::DuplicateFileFinder;
    EXPECT_TRUE(F::withExtension(dff::Path("/x/Library.photosLibrary"), ".photoslibrary"));
    EXPECT_FALSE(F::withExtension("photo.jpeg", 10, ".jpg"));
    EXPECT_FALSE(F::withExtension("jpg", 3, ".jpg"));
}

TEST(FileModel, AFailedTypeReadIsNotKept) {
    TempDir dir;
    dff::File missing(dff::Path(dir / "gone"), 1, nullptr);
    EXPECT_EQ(missing.getType(), nullptr);
    writeFile(dir / "gone", "\x89PNG\r\n\x1A\n....");
    ASSERT_NE(missing.getType(), nullptr) << "a failed read is not cached";
    EXPECT_EQ(*missing.getType(), "public.png");
}

class ScanPhotoLibrary : public ScanFiles {};

TEST_F(ScanPhotoLibrary, PhotosJoinTheFilesAndTheLibraryThePackages) {
    std::string lib = dir / "Photos Library.photoslibrary";
    writeFileOfSize(lib + "/originals/0/a.jpg", 300);
    writeFileOfSize(lib + "/originals/1/b.jpg", 300);
    testing_support::NewLibrary content;
    content.assets = {{.uuid = "A", .directory = "0", .filename = "a.jpg"},
                      {.uuid = "B", .directory = "1", .filename = "b.jpg"}};
    testing_support::writeNewLibrary(lib, content);

    auto library = finder.scanPhotoLibrary(dff::Path(lib), files, packages, unknown, count);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(library->parent, nullptr);
    EXPECT_EQ(unknown, std::deque<dff::Package*>{library.get()});
    ASSERT_EQ(library->photos.size(), 2u);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(valuesUnder(files, 300),
              (std::vector<dff::File*>{&library->photos[0], &library->photos[1]}));
}

TEST_F(ScanPhotoLibrary, SizeFromTheIndexDecides) {
    finder.minFileSize = 1000;
    std::string small = dir / "Small.photoslibrary", big = dir / "Big.photoslibrary";
    packageIndex.set(small, 999, 1);
    packageIndex.set(big, 5000, 1);
    EXPECT_EQ(finder.scanPhotoLibrary(dff::Path(small), files, packages, unknown, count), nullptr);

    // No database at all: the library still counts as a package.
    auto library = finder.scanPhotoLibrary(dff::Path(big), files, packages, unknown, count);
    ASSERT_NE(library, nullptr);
    EXPECT_TRUE(library->photos.empty());
    EXPECT_EQ(valuesUnder(packages, 5000), std::vector<dff::Package*>{library.get()});
    EXPECT_TRUE(unknown.empty());
    EXPECT_EQ(count, 0);
}

}  // namespace
