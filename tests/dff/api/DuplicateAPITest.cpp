#include "dff/api/DuplicateFileFinder.h"

#include "support/ImageBuilder.h"
#include "support/MainLoopPump.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using testing_support::writeFile;

// Records what arrives, and where.
class RecordingDelegate : public Core::DuplicateFileFinderDelegate {
public:
    void current(const platform::URL&) override { note("current"); }
    void progress(double value) override {
        note("progress");
        values.push_back(value);
        if (onProgress) onProgress(value);
    }
    void completion(const Core::DuplicateGroups& d, const Core::DuplicateGroups& s) override {
        note("completion");
        duplicates = d;
        similar = s;
    }

    void note(const char* what) {
        calls.push_back(what);
        offMain += platform::dispatch::isMainThread() ? 0 : 1;
    }
    int completions() const { return int(std::count(calls.begin(), calls.end(), std::string("completion"))); }

    std::vector<std::string> calls;
    std::vector<double> values;
    int offMain = 0;
    std::function<void(double)> onProgress;
    Core::DuplicateGroups duplicates, similar;
};

class DuplicateAPI : public ::testing::Test {
protected:
    DuplicateAPI() {
        platform::dispatch::declareMainThread();
        finder->delegate = delegate;
        finder->setRootFolderURLs({platform::URL::fileURL(dir.str(), true)});
        finder->setMinFileSize(1);
        finder->setExcludePaths({});
        finder->setExcludeExtensions({});
    }
    ~DuplicateAPI() override { finder->delegate.reset(); }

    void runSearch(bool onlyDuplicates) {
        finder->start(onlyDuplicates);
        ASSERT_TRUE(testing_support::pumpMainLoopUntil([&] { return delegate->completions() > 0; }));
        // Nothing is queued behind the completion.
        ASSERT_TRUE(testing_support::drainMainQueue());
    }

    testing_support::TempDir dir;
    std::shared_ptr<Core::DuplicateFileFinder> finder = Core::DuplicateFileFinder::shared();
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(DuplicateAPI, ReportsArriveOnTheMainThreadInOrderWithOneCompletionLast) {
    writeFile(dir / "a", "same bytes");
    writeFile(dir / "sub/b", "same bytes");
    writeFile(dir / "sub/c", "keeps the folders apart");
    runSearch(false);

    EXPECT_EQ(delegate->offMain, 0);
    EXPECT_EQ(delegate->completions(), 1);
    EXPECT_EQ(delegate->calls.back(), "completion");
    EXPECT_TRUE(std::is_sorted(delegate->values.begin(), delegate->values.end()));
    EXPECT_EQ(delegate->values.front(), 0.3);
    EXPECT_EQ(delegate->values.back(), 0.9);
    EXPECT_EQ(delegate->duplicates.size(), 1u);
}

TEST_F(DuplicateAPI, StopStillGivesOneCompletion) {
    for (int i = 0; i < 400; ++i) testing_support::writeFileOfSize(dir / ("f" + std::to_string(i)), 64 * 1024, 'q');
    delegate->onProgress = [&](double) { finder->stop(); };
    runSearch(true);
    EXPECT_EQ(delegate->completions(), 1);
    EXPECT_EQ(delegate->calls.back(), "completion");
    EXPECT_EQ(delegate->offMain, 0);
}

TEST_F(DuplicateAPI, SearchesStartedBackToBackEachComplete) {
    writeFile(dir / "a", "same");
    writeFile(dir / "b", "same");
    finder->start(true);
    finder->start(true);
    ASSERT_TRUE(testing_support::pumpMainLoopUntil([&] { return delegate->completions() == 2; }));
    ASSERT_TRUE(testing_support::drainMainQueue());
    EXPECT_EQ(delegate->completions(), 2);
    ASSERT_EQ(delegate->duplicates.size(), 1u);
    EXPECT_EQ(delegate->duplicates[0].size(), 2u);
    // Each search's progress runs whole from 0.3 to 0.9, the second's after
    // the first's; start() touches no state of a running search.
    const auto& values = delegate->values;
    auto second = std::find(values.begin() + 1, values.end(), 0.3);
    ASSERT_NE(second, values.end());
    EXPECT_TRUE(std::is_sorted(values.begin(), second));
    EXPECT_TRUE(std::is_sorted(second, values.end()));
    EXPECT_EQ(values.front(), 0.3);
    EXPECT_EQ(*(second - 1), 0.9);
    EXPECT_EQ(values.back(), 0.9);
}

TEST(DuplicateRecords, EngineObjectsBecomeFilesAndPhotos) {
    auto library = dff::make<dff::PhotoLibrary>(dff::Path("/l.photoslibrary"), nullptr);
    library->photos.emplace_back("P1", dff::Path("/l.photoslibrary/originals/p.jpg"), 10, library.get());
    auto folder = dff::make<dff::Directory>(dff::Path("/d"), nullptr);
    folder->size = 300;
    dff::File plain(dff::Path("/f"), 10, nullptr);
    dff::File pathless(dff::Path(""), 10, nullptr);
    dff::DuplicateFileFinder::Groups groups{{&library->photos.front(), &plain}, {folder.get()}, {&pathless}};

    Core::DuplicateGroups records =
        Core::DuplicateFileFinder::records(dff::DFFDuplicateFileFinder::convertResult(groups));
    ASSERT_EQ(records.size(), 3u);
    ASSERT_EQ(records[0].size(), 2u);
    ASSERT_NE(records[0][0].photo(), nullptr);
    EXPECT_EQ(records[0][0].photo()->id, "P1");
    EXPECT_EQ(records[0][1].photo(), nullptr);
    EXPECT_EQ(records[0][1].file().url().path(), "/f");
    ASSERT_EQ(records[1].size(), 1u);
    EXPECT_EQ(records[1][0].file().size(), 300);
    EXPECT_TRUE(records[2].empty()) << "a group is kept even when no member made it";

    // Photos are the same photo by their file, whatever their identifiers.
    Core::Photo a{"1", Core::File(platform::URL::fileURL("/x.jpg"), 1)};
    Core::Photo b{"2", Core::File(platform::URL::fileURL("/x.jpg"), 1)};
    EXPECT_EQ(a, b);
}

TEST(PhotoThumbnails, OnlyExistingImagesGiveThumbnails) {
    testing_support::TempDir dir;
    EXPECT_FALSE(Core::Photo::createThumbnailIfIsImage(dir / "missing.jpg", 50));
    writeFile(dir / "a.txt", "text");
    EXPECT_FALSE(Core::Photo::createThumbnailIfIsImage(dir / "a.txt", 50));
    writeFile(dir / "a.jpg", testing_support::encodeJpeg(testing_support::horizontalGradient(64, 48), 64, 48, 1));
    EXPECT_EQ(Core::Photo::createThumbnailIfIsImage(dir / "a.jpg", 32).width(), 32);
}

}  // namespace
