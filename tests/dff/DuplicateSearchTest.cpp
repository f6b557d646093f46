#include "dff/DuplicateFileFinder.h"
#include "dff/image/ImageFiles.h"
#include "platform/Dispatch.h"

#include "support/Await.h"
#include "support/FaultyReads.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing_support::writeFile;
using testing_support::writeFileOfSize;
namespace fs = std::filesystem;

// Groups as sorted lists of paths relative to the test folder, themselves
// sorted, so that a result compares regardless of the indexes' walking order.
using Names = std::vector<std::vector<std::string>>;

class DuplicateSearch : public ::testing::Test {
protected:
    DuplicateSearch() {
        // Every path report goes through, so tests can act on it.
        finder.setReportIntervalForTesting({});
        finder.paths = {dff::Path(dir.str())};
        finder.minFileSize = 1;
    }

    Names names(const dff::DuplicateFileFinder::Groups& groups) const {
        Names out;
        for (const auto& group : groups) {
            std::vector<std::string> members;
            for (const dff::File* file : group)
                members.push_back(file->path.str() == dir.str() ? "." : file->path.str().substr(dir.str().size() + 1));
            std::sort(members.begin(), members.end());
            out.push_back(members);
        }
        std::sort(out.begin(), out.end());
        return out;
    }

    void search(bool onlyDuplicates = false) {
        duplicates.clear();
        similar.clear();
        finder.find(duplicates, similar, onlyDuplicates);
    }

    testing_support::TempDir dir;
    std::vector<double> progress;
    std::vector<std::string> reported;
    std::function<void(const dff::Path&)> onPath = [](const dff::Path&) {};
    dff::DuplicateFileFinder finder{[this](double value) { progress.push_back(value); },
                                    [this](const dff::Path& path) {
                                        reported.push_back(path.str());
                                        onPath(path);
                                    }};
    dff::DuplicateFileFinder::Groups duplicates, similar;
};

TEST_F(DuplicateSearch, ReportsEveryStageInOrderAndRisesWithinTheFileStage) {
    finder.paths.clear();
    search();
    EXPECT_EQ(progress, (std::vector<double>{0.3, 0.5, 0.55, 0.6, 0.8, 0.9}));
    EXPECT_TRUE(duplicates.empty());

    progress.clear();
    finder.paths = {dff::Path(dir.str())};
    // Only the search's own thread tells; with helpers it might read none.
    finder.threads = 1;
    for (int i = 0; i < 20; ++i) writeFileOfSize(dir / ("f" + std::to_string(i)), 5000 + i % 3, 'a');
    search(true);
    ASSERT_GT(progress.size(), 5u);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_EQ(progress.front(), 0.3);
    EXPECT_EQ(progress.back(), 0.9);
    EXPECT_LE(*std::upper_bound(progress.begin(), progress.end(), 0.3), 0.5);
}

TEST_F(DuplicateSearch, FilesEqualOnlyInTheirFirstBlockAreNoDuplicates) {
    std::string head(4096, 'h');
    writeFile(dir / "a", head + std::string(904, 'x'));
    writeFile(dir / "b", head + std::string(904, 'x'));
    writeFile(dir / "c", head + std::string(903, 'x') + "y");
    writeFile(dir / "other/d", std::string(5000, 'z'));  // same size, differs at once
    writeFile(dir / "lone", "alone of its size");
    search();
    EXPECT_EQ(names(duplicates), (Names{{"a", "b"}}));
    // The complete twins share one digest; the rest are marked as unproven.
    const auto& root = *finder.directories.at(0);
    for (const auto& child : root.children) {
        std::string name = fs::path(child->path.str()).filename();
        bool twin = name == "a" || name == "b";
        EXPECT_EQ(child->unique, !twin) << name;
    }
    EXPECT_TRUE(root.unique);
}

TEST_F(DuplicateSearch, IdenticalFoldersAreReportedAsFoldersAndAThirdCopyWhole) {
    for (const char* folder : {"one", "two"}) {
        writeFile(dir / (std::string(folder) + "/x.txt"), "same x");
        writeFile(dir / (std::string(folder) + "/sub/y.txt"), "same y, deeper");
    }
    writeFile(dir / "unique.txt", "no twin");
    search();
    // The files and subfolders inside are not reported: their folders are.
    EXPECT_EQ(names(duplicates), (Names{{"one", "two"}}));

    // Folder names play no part, but a third copy of a file outside is
    // reported with the copies inside.
    finder.releaseFiles();
    writeFile(dir / "elsewhere/x-copy.txt", "same x");
    search();
    EXPECT_EQ(names(duplicates), (Names{{"elsewhere/x-copy.txt", "one/x.txt", "two/x.txt"}, {"one", "two"}}));
}

TEST_F(DuplicateSearch, AnExcludedFileSpoilsItsFolderButNotItsSiblings) {
    for (const char* folder : {"one", "two"}) writeFile(dir / (std::string(folder) + "/x.txt"), "same x");
    writeFile(dir / "two/skip.tmp", "left out");
    finder.excludeExtensions = {".tmp"};
    search();
    EXPECT_EQ(names(duplicates), (Names{{"one/x.txt", "two/x.txt"}}));
}

TEST_F(DuplicateSearch, LinksKeepOrSpoilTheirFolders) {
    for (const char* folder : {"one", "two", "three"}) writeFile(dir / (std::string(folder) + "/x.txt"), "same x");
    fs::create_symlink("target", dir / "one/link");
    fs::create_symlink("target", dir / "two/link");
    fs::create_symlink("tarjet", dir / "three/link");  // same size, other target
    search();
    EXPECT_EQ(names(duplicates), (Names{{"one", "two"}, {"one/x.txt", "three/x.txt", "two/x.txt"}}));
}

TEST_F(DuplicateSearch, PackagesAreComparedByTheirInsides) {
    for (const char* package : {"A.app", "B.app", "C.app"}) writeFile(dir / (std::string(package) + "/Contents/bin"), "binary");
    writeFile(dir / "C.app/Contents/extra", "more");
    search();
    // The packages' insides are never walked as files.
    EXPECT_EQ(names(duplicates), (Names{{"A.app", "B.app"}}));
}

// A file gone before its first read and one that fails mid-file (under
// short, interrupted reads) drop out alone, each with one line.
TEST_F(DuplicateSearch, FilesThatFailToReadDropOutWithOneLineEach) {
    for (const char* name : {"a", "b", "c", "gone"}) writeFileOfSize(dir / name, 5000, 'm');
    bool walked = false;
    finder.onProgress = [&](double value) { walked = walked || value == 0.3; };
    onPath = [&](const dff::Path& path) {
        if (walked && path.str() == dir / "gone") std::remove(path.cStr());
    };
    testing_support::ScopedFaultyReads faults({.chunk = 700, .interrupt = true, .failAt = 4096, .failIn = "/b"});
    testing_support::LogLines log;
    search();
    EXPECT_EQ(names(duplicates), (Names{{"a", "c"}}));
    EXPECT_EQ(log.taken(), (std::vector<std::string>{
                               "duplicates: Failed to open file: " + dir / "gone" + ": No such file or directory (errno 2)",
                               "duplicates: Failed to read file: " + dir / "b" + ": Input/output error (errno 5)"}));
}

// Each search reads through buffers of its own: two at once on two threads
// find what each finds alone.
TEST(DuplicateSearches, TwoRunAtOnceOnTwoThreads) {
    testing_support::TempDir dirs[2];
    for (int d = 0; d < 2; ++d)
        for (int size = 0; size < 8; ++size)
            for (char copy : {'x', 'y'})
                writeFileOfSize(dirs[d] / (std::string(1, copy) + std::to_string(size)), 70000 + size * 1000,
                                char('a' + d * 8 + size));
    // Eight pairs of twins under each root: bytes of the other search in a
    // shared buffer would part a pair.
    size_t pairs[2] = {0, 0};
    auto run = [&](int d) {
        dff::DuplicateFileFinder finder([](double) {}, [](const dff::Path&) {});
        finder.paths = {dff::Path(dirs[d].str())};
        finder.minFileSize = 1;
        for (int round = 0; round < 10 && (round == 0 || pairs[d] == 8); ++round) {
            dff::DuplicateFileFinder::Groups duplicates, similar;
            finder.find(duplicates, similar, true);
            pairs[d] = size_t(std::count_if(duplicates.begin(), duplicates.end(),
                                            [](const auto& group) { return group.size() == 2; }));
            finder.releaseFiles();
        }
    };
    testing_support::finishWithin([&] {
        std::thread other(run, 1);
        run(0);
        other.join();
    }, "two searches at once");
    EXPECT_EQ(pairs[0], 8u);
    EXPECT_EQ(pairs[1], 8u);
}

TEST_F(DuplicateSearch, AFifoSwappedInAfterTheWalkIsNotReadAndDoesNotHang) {
    for (const char* name : {"a", "b", "swapped"}) writeFile(dir / name, "three copies");
    bool walked = false;
    finder.onProgress = [&](double value) { walked = walked || value == 0.3; };
    onPath = [&](const dff::Path& path) {
        if (walked && path.str() == dir / "swapped") {
            std::remove(path.cStr());
            ASSERT_EQ(::mkfifo(path.cStr(), 0600), 0);
        }
    };
    testing_support::finishWithin([&] { search(); }, "the search");
    EXPECT_EQ(names(duplicates), (Names{{"a", "b"}}));
}

TEST_F(DuplicateSearch, OverlappingRootsOfferNoFileAsItsOwnDuplicate) {
    writeFile(dir / "A/B/inner", "only one of these");
    writeFile(dir / "A/twin", "a real pair");
    writeFile(dir / "twin", "a real pair");
    fs::create_directory_symlink(dir / "A", dir / "link-to-A");
    finder.paths = {dff::Path(dir / "A/B"), dff::Path(dir / "A"), dff::Path(dir.str()), dff::Path(dir.str()),
                    dff::Path(dir / "link-to-A")};
    search();
    EXPECT_EQ(names(duplicates), (Names{{"A/twin", "twin"}}));
    ASSERT_EQ(finder.directories.size(), 1u);
    EXPECT_EQ(finder.directories[0]->path.str(), dir.str());

    // Apart, a root and a link to it are still one root.
    finder.paths = {dff::Path(dir / "link-to-A"), dff::Path(dir / "A")};
    finder.releaseFiles();
    search();
    EXPECT_TRUE(duplicates.empty());
}

TEST_F(DuplicateSearch, NamesOfOneFileAreOneMemberAndTheirFoldersNoCopies) {
    // Deleting "the copy" of a hard link would delete the only data.
    writeFile(dir / "A/data", "kept once");
    writeFile(dir / "B/other", "apart");
    ASSERT_EQ(::link((dir / "A/data").c_str(), (dir / "B/data").c_str()), 0);
    ASSERT_EQ(::link((dir / "B/other").c_str(), (dir / "A/other").c_str()), 0);
    search();
    EXPECT_TRUE(duplicates.empty()) << names(duplicates).size();

    // With a real copy, the group holds one name of the linked file.
    finder.releaseFiles();
    writeFile(dir / "copy", "kept once");
    search();
    ASSERT_EQ(duplicates.size(), 1u);
    Names found = names(duplicates);
    EXPECT_EQ(found[0].size(), 2u);
    EXPECT_EQ(found[0].back(), "copy");
    EXPECT_TRUE(found[0].front() == "A/data" || found[0].front() == "B/data") << found[0].front();
}

TEST_F(DuplicateSearch, AFolderSwappedForALinkDuringTheWalkIsNotFollowed) {
    testing_support::TempDir outside;
    writeFile(outside / "secret", "same bytes");
    writeFile(dir / "a", "same bytes");
    writeFile(dir / "sub/inner", "whatever");
    // The folder is listed in its parent, then swapped before it is opened.
    onPath = [&](const dff::Path& path) {
        if (path.str() != dir / "sub") return;
        fs::rename(dir / "sub", outside / "moved");
        fs::create_directory_symlink(outside.str(), dir / "sub");
    };
    search();
    EXPECT_TRUE(duplicates.empty()) << names(duplicates).size();
    for (const std::string& path : reported) EXPECT_EQ(path.rfind(dir / "sub/", 0), std::string::npos) << path;
    ASSERT_EQ(finder.directories.size(), 1u);
    EXPECT_TRUE(finder.directories[0]->unique);
}

TEST_F(DuplicateSearch, StopEndsTheSearchWithWhatWasFound) {
    for (int i = 0; i < 50; ++i) writeFile(dir / ("d" + std::to_string(i) + "/f"), "same in every folder");
    finder.onProgress = [&](double value) {
        progress.push_back(value);
        if (value > 0.3 && value < 0.5) finder.stop();
    };
    search();
    EXPECT_TRUE(duplicates.empty()) << "nothing was complete when it stopped";
    EXPECT_EQ(progress.back(), 0.9);

    // The next search starts afresh.
    finder.releaseFiles();
    finder.onProgress = [](double) {};
    search();
    ASSERT_EQ(duplicates.size(), 1u);
    EXPECT_EQ(duplicates[0].size(), 50u) << "the folders, not the files inside";
}

// A stop in a later stage ends that stage: no package is read further and
// no folder digested after it, and the search still ends at 0.9.
TEST_F(DuplicateSearch, StopDuringThePackageAndFolderStagesEndsThem) {
    double stage = 0;
    finder.onProgress = [&](double value) {
        progress.push_back(value);
        stage = value;
    };
    // Searches, stopping at the first path reported after progress `after`;
    // gives how many paths that stage reported.
    auto searchStoppingAfter = [&](double after) {
        size_t reported = 0;
        onPath = [&, after](const dff::Path&) {
            if (stage != after) return;
            ++reported;
            finder.stop();
        };
        search();
        finder.releaseFiles();
        return reported;
    };

    for (const char* package : {"A.app", "B.app"}) writeFile(dir / (std::string(package) + "/Contents/bin"), "binary");
    EXPECT_EQ(searchStoppingAfter(0.6), 1u) << "packages read after the stop";
    EXPECT_TRUE(duplicates.empty());
    EXPECT_EQ(progress.back(), 0.9);

    for (const char* folder : {"one/", "two/", "three/", "four/"}) writeFile(dir / (std::string(folder) + "in/y"), "y");
    EXPECT_EQ(searchStoppingAfter(0.8), 1u) << "folders digested after the stop";
    EXPECT_EQ(progress.back(), 0.9);
}

// A search holds its worker for as long as the disk takes; the pool must
// know, or queued work waits behind it.
TEST(DuplicateSearches, CountAsABlockingCallOnAPoolWorker) {
    testing_support::TempDir dir;
    writeFile(dir / "a", "x");
    size_t before = 0, during = 0;
    dff::DuplicateFileFinder finder(
        [&](double value) {
            if (value == 0.3) during = platform::dispatch::poolStatsForTesting().blocked;
        },
        [](const dff::Path&) {});
    finder.paths = {dff::Path(dir.str())};
    testing_support::Flag done;
    auto queue = platform::dispatch::makeSerialQueue("search");
    queue->async([&] {
        before = platform::dispatch::poolStatsForTesting().blocked;
        dff::DuplicateFileFinder::Groups duplicates, similar;
        finder.find(duplicates, similar, true);
        done.set();
    });
    ASSERT_TRUE(done.await());
    EXPECT_EQ(during, before + 1);
}

// Stands in for the image library and notes every file handed to it. A
// "picture" is its signature and then "P<n>;": pictures of one n get equal
// pixels, others unrelated ones.
class CountingImageService final : public platform::ImageService {
public:
    const std::unordered_set<std::string>& decodableTypeIdentifiers() override { return other(), _none; }
    std::string typeIdentifierForExtension(std::string_view) override { return other(), std::string(); }
    platform::Image thumbnail(const std::string&, int) override { return other(), platform::Image(); }
    platform::Image grayStretch(const platform::Image&, int, int) override { return other(), platform::Image(); }
    std::optional<std::vector<uint8_t>> pixels(const platform::Image&) override { return other(), std::nullopt; }
    std::optional<std::string> exifDateTimeOriginal(const std::string&) override { return other(), std::nullopt; }

    std::optional<GrayPicture> grayPicture(int descriptor, platform::ImageFormat format, int width,
                                           int height) override {
        char link[64], path[4096], head[32] = {};
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
        ssize_t length = ::readlink(link, path, sizeof path - 1);
        {
            std::lock_guard lock(_mutex);
            decoded[fs::path(std::string(path, size_t(std::max<ssize_t>(length, 0)))).filename()] = format;
        }
        if (::pread(descriptor, head, sizeof head - 1, 3) <= 0 || head[0] != 'P') return std::nullopt;
        std::mt19937 pattern(unsigned(std::atoi(head + 1)));
        std::vector<uint8_t> bytes(size_t(width * height));
        for (auto& byte : bytes) byte = uint8_t(pattern());
        return GrayPicture{std::move(bytes), std::nullopt};
    }

    // Name -> the format it was handed over as.
    std::map<std::string, platform::ImageFormat> decoded;
    std::atomic<int> otherCalls{0};

private:
    void other() { otherCalls.fetch_add(1); }
    std::mutex _mutex;
    std::unordered_set<std::string> _none;
};

class PictureSearch : public DuplicateSearch {
protected:
    PictureSearch() { dff::setImageService(&images); }
    ~PictureSearch() override { dff::setImageService(nullptr); }
    CountingImageService images;
};

TEST_F(PictureSearch, OnlyPictureNamesWithAPictureSignatureReachTheImageService) {
    using platform::ImageFormat;
    writeFile(dir / "a.jpg", "a text file under a picture's name");
    writeFile(dir / "b.png", "PK\x03\x04 an archive renamed as a picture");
    writeFile(dir / "c.JPG", "\xFF\xD8\xFFP1; a picture");
    writeFile(dir / "d.txt", "\xFF\xD8\xFFP1; a picture under a text's name");
    writeFile(dir / "e.png", "\x89PNG\r\n\x1A\nP2;");
    writeFile(dir / "f.gif", "GIF89aP3; a gif named so");
    writeFile(dir / "g.jpg", "\x89PNG\r\n\x1A\nP4; a png named as a jpeg");
    // Exact copies are duplicates, and are never decoded.
    writeFile(dir / "twin1.jpg", "\xFF\xD8\xFFP5; twins");
    writeFile(dir / "twin2.jpg", "\xFF\xD8\xFFP5; twins");
    search();
    EXPECT_EQ(images.decoded, (std::map<std::string, ImageFormat>{{"c.JPG", ImageFormat::jpeg},
                                                                  {"e.png", ImageFormat::png},
                                                                  {"f.gif", ImageFormat::gif},
                                                                  {"g.jpg", ImageFormat::png}}));
    EXPECT_EQ(images.otherCalls.load(), 0);
    EXPECT_EQ(names(duplicates), (Names{{"twin1.jpg", "twin2.jpg"}}));

    // Without the similar pass nothing at all is asked of it.
    finder.releaseFiles();
    images.decoded.clear();
    search(true);
    EXPECT_TRUE(images.decoded.empty());
    EXPECT_EQ(images.otherCalls.load(), 0);
    EXPECT_EQ(names(duplicates), (Names{{"twin1.jpg", "twin2.jpg"}}));
}

// Groups of equal size are compared, and pictures decoded, on several
// threads; what is found, and the order it comes in, is what one thread
// finds, every time.
TEST_F(PictureSearch, ManyThreadsFindWhatOneThreadFinds) {
    for (int g = 0; g < 30; ++g) {
        std::string group = "g" + std::to_string(g) + "-";
        size_t size = 5000 + size_t(g) * 10;
        std::string body(size, char('a' + g % 26));
        for (int c = 0; c < 3; ++c) {
            switch (g % 3) {
            case 0:  // three copies
                writeFile(dir / (group + std::to_string(c)), body);
                break;
            case 1:  // twins, and a third that differs in its last block only
                writeFile(dir / (group + std::to_string(c)), c < 2 ? body : body.substr(1) + "!");
                break;
            default:  // pictures of one size that are no copies: set aside inside the comparison
                std::string head = "\xFF\xD8\xFFP" + std::to_string(g % 4) + ";" + std::to_string(c);
                writeFile(dir / (group + std::to_string(c) + ".jpg"), head + body.substr(head.size()));
            }
        }
    }
    auto ordered = [](const dff::DuplicateFileFinder::Groups& groups) {
        std::vector<std::vector<std::string>> out;
        for (const auto& group : groups) {
            out.emplace_back();
            for (const dff::File* file : group) out.back().push_back(file->path.str());
        }
        return out;
    };
    finder.threads = 1;
    search();
    const auto duplicatesAlone = ordered(duplicates), similarAlone = ordered(similar);
    ASSERT_EQ(duplicatesAlone.size(), 20u);
    // One group a pattern, of the pictures made from it (g2, g6, ... for pattern 2).
    ASSERT_EQ(similarAlone.size(), 4u);
    for (const auto& group : similarAlone)
        for (const std::string& path : group)
            EXPECT_EQ(std::stoi(fs::path(path).filename().string().substr(1)) % 4,
                      std::stoi(fs::path(group.front()).filename().string().substr(1)) % 4)
                << path;
    finder.threads = 4;
    for (int run = 0; run < 3; ++run) {
        finder.releaseFiles();
        search();
        EXPECT_EQ(ordered(duplicates), duplicatesAlone) << "run " << run;
        EXPECT_EQ(ordered(similar), similarAlone) << "run " << run;
    }
}

}  // namespace
