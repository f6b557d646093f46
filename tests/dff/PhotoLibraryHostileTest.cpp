// Photo libraries whose database was written to harm the reader.
#include "dff/PhotoLibraryReader.h"

#include "support/PhotoLibraryBuilder.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <future>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

std::vector<std::string> photoPaths(const std::string& path) {
    dff::PhotoLibrary library(dff::Path(path), nullptr);
    dff::PhotoLibraryReader::readPhotos(library);
    std::vector<std::string> paths;
    for (const auto& photo : library.photos) paths.push_back(photo.path.str());
    return paths;
}

void exec(const std::string& file, const std::string& sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << (error ? error : "");
    sqlite3_free(error);
    sqlite3_close(db);
}

TEST(PhotoLibraryHostileTest, AViewThatNeverEndsIsNotRun) {
    TempDir dir;
    const std::string lib = dir / "P.photoslibrary";
    NewLibrary content;
    content.assets.push_back({.uuid = "A", .directory = "0", .filename = "a.jpg"});
    writeNewLibrary(lib, content);
    writeFile(lib + "/originals/0/a.jpg", "jpeg");
    // The asset table becomes a recursive view with no end.
    exec(lib + "/database/Photos.sqlite",
         "DROP TABLE ZASSET; CREATE VIEW ZASSET AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) "
         "SELECT i AS Z_PK, 'U' || i AS ZUUID, '0' AS ZDIRECTORY, 'a.jpg' AS ZFILENAME, NULL AS "
         "ZCLOUDBATCHPUBLISHDATE, 0 AS ZTRASHEDSTATE FROM n; "
         "INSERT INTO ZADDITIONALASSETATTRIBUTES (ZASSET) SELECT 1;");
    auto read = std::async(std::launch::async, [&] { return photoPaths(lib); });
    ASSERT_EQ(read.wait_for(std::chrono::seconds(60)), std::future_status::ready) << "the reader looped";
    EXPECT_TRUE(read.get().empty());
}

TEST(PhotoLibraryHostileTest, PathsThatClimbOutOfTheLibraryAreSkipped) {
    TempDir dir;
    const std::string lib = dir / "P.photoslibrary";
    NewLibrary content;
    content.assets = {{.uuid = "A", .directory = "0", .filename = "a.jpg"},
                      {.uuid = "B", .directory = "../../..", .filename = "secret"},
                      {.uuid = "C", .directory = "0/../..", .filename = "secret"},
                      {.uuid = "D", .directory = "0", .filename = "../../secret"}};
    writeNewLibrary(lib, content);
    writeFile(lib + "/originals/0/a.jpg", "jpeg");
    writeFile(dir / "secret", "not a photo");
    EXPECT_EQ(photoPaths(lib), (std::vector<std::string>{lib + "/originals/0/a.jpg"}));

    const std::string old = dir / "Old.photolibrary";
    OldLibrary oldContent;
    oldContent.volumes = {{.modelId = 1, .name = ".."}};
    oldContent.masters = {{.uuid = "M", .imagePath = "2020/m.jpg", .fileSize = 3},
                          {.uuid = "N", .imagePath = "../../../etc/passwd", .fileSize = 3},
                          {.uuid = "V", .volumeId = 1, .imagePath = "x.jpg", .fileSize = 3}};
    writeOldLibrary(old, oldContent);
    EXPECT_EQ(photoPaths(old), (std::vector<std::string>{old + "/Masters/2020/m.jpg"}));
}

}  // namespace
