// Runs "sweeper photos" on libraries the test builds.
#include "support/PhotoLibraryBuilder.h"
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace testing_support;

using PhotosCommandTest = testing_support::SweeperTest;

TEST_F(PhotosCommandTest, JsonListsPhotosInReadingOrder) {
    std::string lib = dir / "My Library.photoslibrary";
    writeFileOfSize(lib + "/originals/B/b.heic", 20);
    writeFileOfSize(lib + "/originals/A/a.jpg", 10);
    NewLibrary content;
    content.assets = {{.uuid = "B-2", .directory = "B", .filename = "b.heic"},
                      {.uuid = "A-1", .directory = "A", .filename = "a.jpg"},
                      {.uuid = "C-3", .directory = "C", .filename = "cloud-only.jpg"}};
    writeNewLibrary(lib, content);

    auto doc = parsedOutput(runSweeper("--json photos '" + lib + "/'"));
    ASSERT_EQ(doc["photos"].size(), 2u);
    EXPECT_EQ(doc["photos"][0], (nlohmann::json{{"id", "A-1"}, {"path", lib + "/originals/A/a.jpg"}, {"size", 10}}));
    EXPECT_EQ(doc["photos"][1]["id"], "B-2");
    EXPECT_EQ(doc["photos"][1]["size"], 20);
}

TEST_F(PhotosCommandTest, RelativePathsBecomeAbsoluteAndTextListsEachPhoto) {
    OldLibrary content;
    content.masters = {{.uuid = "M", .imagePath = "2020/x.jpg", .fileSize = 2048}};
    writeOldLibrary(dir / "Old.photoslibrary", content);
    SweeperRun run = runSweeper("photos '" + (dir / "Old.photoslibrary") + "'");
    ASSERT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("M "), std::string::npos);
    EXPECT_NE(run.out.find(dir / "Old.photoslibrary/Masters/2020/x.jpg"), std::string::npos);
    EXPECT_NE(run.out.find("1 photos"), std::string::npos);

    EXPECT_EQ(parsedOutput(runSweeper("--json photos Old.photoslibrary", dir.str()))["photos"][0]["path"],
              dir / "Old.photoslibrary/Masters/2020/x.jpg");
}

TEST_F(PhotosCommandTest, MissingDatabaseFailsWithExitOne) {
    EXPECT_EQ(runSweeper("--json photos '" + (dir / "Nothing.photoslibrary") + "'").status, 1);
    EXPECT_EQ(runSweeper("photos").status, 2);
}

}  // namespace
