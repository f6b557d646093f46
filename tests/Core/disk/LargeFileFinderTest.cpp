#include "Core/disk/LargeFileFinder.h"

#include "platform/MetadataIndex.h"
#include "support/Await.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>

using Core::LargeFileFinder;
using testing_support::ScopedLayout;
using testing_support::TempDir;
using testing_support::writeFileOfSize;

namespace {

class Recorder : public Core::LargeFileFinderDelegate {
public:
    void largeFileFinderCurrent(const platform::URL& url) override {
        std::lock_guard lock(mutex);
        current.push_back(url.path());
    }
    void largeFileFinderFinished(const std::vector<Core::File>& files) override {
        std::lock_guard lock(mutex);
        ++finishedCount;
        for (const auto& f : files) found.emplace_back(f.url().path(), f.size());
    }
    std::mutex mutex;
    std::vector<std::string> current;
    std::vector<std::pair<std::string, int64_t>> found;
    int finishedCount = 0;
};

TEST(LargeFileFinderTest, FilesOfAtLeastTheMinimumLargestFirstWithoutExcludedPrefixes) {
    TempDir dir;
    std::string home = dir / "home";
    writeFileOfSize(home + "/exact", 3000);
    writeFileOfSize(home + "/big", 9000);
    writeFileOfSize(home + "/small", 2999);
    writeFileOfSize(home + "/skip/inside", 9500);
    writeFileOfSize(home + "/skipped.iso", 9600);  // begins with the excluded path
    writeFileOfSize(home + "/alone", 8000);
    writeFileOfSize(dir / "outside", 100000);
    ScopedLayout layout("/", home);

    auto recorder = std::make_shared<Recorder>();
    LargeFileFinder finder;
    finder.delegate = recorder;
    finder.exclubeFilesUrls = {platform::URL::fileURL(home + "/skip"), platform::URL::fileURL(home + "/alone")};
    finder.start(3000);
    finder.waitUntilIdle();

    EXPECT_EQ(recorder->finishedCount, 1);
    EXPECT_EQ(recorder->found, (std::vector<std::pair<std::string, int64_t>>{{home + "/big", 9000},
                                                                           {home + "/exact", 3000}}));
    ASSERT_FALSE(recorder->current.empty());
    EXPECT_EQ(recorder->current.back(), home + "/exact");
}

// Holds the query until the test lets it answer.
class HeldIndex : public platform::MetadataIndexWrapper {
public:
    HeldIndex() : MetadataIndexWrapper(std::make_shared<platform::MetadataIndex>()) {}
    platform::MetadataAnswer filesOfAtLeast(int64_t) const override {
        if (calls++ == 0) asked.set();
        release.wait();
        return answer;
    }
    platform::MetadataAnswer answer;
    mutable testing_support::Flag asked;
    mutable std::atomic<int> calls{0};
    std::shared_future<void> release;
};

TEST(LargeFileFinderTest, StopSilencesARunningQueryAndAFailedQueryGivesAnEmptyList) {
    TempDir dir;
    ScopedLayout layout("/", dir.str());
    auto index = std::make_shared<HeldIndex>();
    std::promise<void> release;
    index->release = release.get_future().share();
    index->answer = std::vector<platform::MetadataItem>{{dir / "f", 10}};
    platform::MetadataIndex::setShared(index);

    auto recorder = std::make_shared<Recorder>();
    LargeFileFinder finder;
    finder.delegate = recorder;
    finder.start(1);
    ASSERT_TRUE(index->asked.await());
    finder.stop();
    release.set_value();
    finder.waitUntilIdle();
    EXPECT_EQ(recorder->finishedCount, 0);
    EXPECT_TRUE(recorder->current.empty());

    // Runs again after a stop; this time the query can't start.
    index->answer = std::nullopt;
    finder.start(1);
    finder.waitUntilIdle();
    platform::MetadataIndex::setShared(nullptr);
    EXPECT_EQ(recorder->finishedCount, 1);
    EXPECT_TRUE(recorder->found.empty());
}

}  // namespace
