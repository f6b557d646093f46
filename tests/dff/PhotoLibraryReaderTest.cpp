#include "dff/OMPhotoLibraryLoader.h"
#include "dff/PhotoLibraryReader.h"
#include "dff/SystemPhotoLibraryFinder.h"

#include "support/Await.h"
#include "support/FakePhotoService.h"
#include "support/PhotoLibraryBuilder.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

struct Seen {
    std::string id;
    std::string path;
    long long size;
    friend bool operator==(const Seen&, const Seen&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Seen& s) {
        return out << "{" << s.id << ", " << s.path << ", " << s.size << "}";
    }
};

std::vector<Seen> readLibrary(const std::string& path) {
    dff::PhotoLibrary library(dff::Path(path), nullptr);
    dff::PhotoLibraryReader::readPhotos(library);
    std::vector<Seen> seen;
    for (const auto& photo : library.photos) {
        EXPECT_EQ(photo.parent, &library);
        seen.push_back({photo.id, photo.path.str(), photo.size});
    }
    return seen;
}

class PhotoLibraryReader : public ::testing::Test {
protected:
    PhotoLibraryReader() : layout(dir / "root", dir / "home") {}
    TempDir dir;
    ScopedLayout layout;
    std::string lib = dir / "Lib.photoslibrary";
};

TEST_F(PhotoLibraryReader, OldLibraryTakesMastersOnTrustAndVolumesByName) {
    OldLibrary content;
    content.volumes = {{.modelId = 1, .name = "Archive"}, {.modelId = 2}};
    content.masters = {
        {.uuid = "managed", .imagePath = "2019/a.jpg", .fileSize = 1234},
        {.uuid = "referenced", .volumeId = 1, .imagePath = "Pics/b.jpg", .fileSize = 99},
        {.uuid = "no-such-volume", .volumeId = 7, .imagePath = "c.jpg", .fileSize = 1},
        {.uuid = "nameless-volume", .volumeId = 2, .imagePath = "d.jpg", .fileSize = 1},
        {.uuid = "trashed", .imagePath = "e.jpg", .fileSize = 1, .isInTrash = 1},
        {.uuid = "kept", .imagePath = "f.jpg", .fileSize = 5, .isInTrash = 2},
        {.imagePath = "no-uuid.jpg", .fileSize = 1},
        {.uuid = "no-path", .fileSize = 1},
    };
    writeOldLibrary(lib, content);
    EXPECT_EQ(readLibrary(lib), (std::vector<Seen>{
                                    {"managed", lib + "/Masters/2019/a.jpg", 1234},
                                    {"referenced", dir / "root/Volumes/Archive/Pics/b.jpg", 99},
                                    {"kept", lib + "/Masters/f.jpg", 5},
                                }));
}

TEST_F(PhotoLibraryReader, VersionDecidesTheDatabase) {
    // Both databases are present, each with photos of its own; the version
    // alone chooses.
    writeFileOfSize(lib + "/originals/0/new.jpg", 10);
    for (int version : {0, 4025, 4026, 9999}) {
        std::filesystem::remove_all(lib + "/database");
        OldLibrary old;
        old.libraryVersion = version == 0 ? std::nullopt : std::optional<int>(version);
        old.masters = {{.uuid = "old", .imagePath = "x.jpg", .fileSize = 3}};
        writeOldLibrary(lib, old);
        NewLibrary fresh;
        fresh.assets = {{.uuid = "new", .directory = "0", .filename = "new.jpg"}};
        writeNewDatabase(lib + "/database/Photos.sqlite", fresh);
        std::string expected = version >= 4026 ? "new" : "old";
        auto seen = readLibrary(lib);
        ASSERT_EQ(seen.size(), 1u) << version;
        EXPECT_EQ(seen[0].id, expected) << version;
    }
}

TEST_F(PhotoLibraryReader, ModelVersionChoosesTheAssetTable) {
    writeFileOfSize(lib + "/originals/0/a.jpg", 10);
    struct Case {
        long long model;
        const char* table;
    };
    for (Case c : {Case{12999, "ZASSET"}, Case{13000, "ZGENERICASSET"}, Case{13999, "ZGENERICASSET"},
                   Case{14000, "ZASSET"}}) {
        for (const char* table : {"ZASSET", "ZGENERICASSET"}) {
            std::filesystem::remove_all(lib + "/database");
            NewLibrary content;
            content.modelVersion = c.model;
            content.binaryPlist = c.model % 2 == 0;  // both forms of the property list
            content.assetTable = table;
            content.assets = {{.uuid = "A", .directory = "0", .filename = "a.jpg"}};
            writeNewLibrary(lib, content);
            size_t expected = std::string(table) == c.table ? 1 : 0;
            EXPECT_EQ(readLibrary(lib).size(), expected) << c.model << " in " << table;
        }
    }
}

TEST_F(PhotoLibraryReader, AssetsArePlacedByDirectoryAndCloudStateAndMustBeOnDisk) {
    writeFileOfSize(lib + "/originals/A/a.jpg", 100);
    writeFileOfSize(lib + "/resources/cloudsharing/data/S/s.jpg", 200);
    writeFileOfSize(dir / "elsewhere/abs.jpg", 300);
    writeFileOfSize(lib + "/originals/T/t.jpg", 400);
    NewLibrary content;
    content.assets = {
        {.uuid = "1-local", .directory = "A", .filename = "a.jpg"},
        {.uuid = "2-shared", .directory = "S", .filename = "s.jpg", .cloudBatchPublishDate = 6e8},
        {.uuid = "3-absolute", .directory = dir / "elsewhere", .filename = "abs.jpg"},
        {.uuid = "4-cloud-only", .directory = "A", .filename = "missing.jpg"},
        {.uuid = "5-trashed", .directory = "A", .filename = "a.jpg", .trashedState = 1},
        {.uuid = "6-trash-state-2", .directory = "T", .filename = "t.jpg", .trashedState = 2},
        {.uuid = "7-no-attributes", .directory = "A", .filename = "a.jpg", .hasAttributes = false},
        {.uuid = "8-no-directory", .filename = "a.jpg"},
        {.directory = "A", .filename = "a.jpg"},
    };
    writeNewLibrary(lib, content);
    EXPECT_EQ(readLibrary(lib), (std::vector<Seen>{
                                    {"1-local", lib + "/originals/A/a.jpg", 100},
                                    {"2-shared", lib + "/resources/cloudsharing/data/S/s.jpg", 200},
                                    {"3-absolute", dir / "elsewhere/abs.jpg", 300},
                                    {"6-trash-state-2", lib + "/originals/T/t.jpg", 400},
                                }));
}

TEST_F(PhotoLibraryReader, MissingDatabasesFailToOpenAndAreNotCreated) {
    std::filesystem::create_directories(lib + "/database");
    try {
        readLibrary(lib);
        ADD_FAILURE() << "read a library without a database";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Failed to open DB");
    }
    EXPECT_FALSE(std::filesystem::exists(lib + "/database/photos.db"));

    // A new version without the second database fails the same way.
    writeOldLibrary(lib, {.libraryVersion = 5000});
    EXPECT_THROW(readLibrary(lib), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(lib + "/database/Photos.sqlite"));
}

TEST_F(PhotoLibraryReader, BrokenContentReadsAsNoPhotos) {
    // Not a database at all: it opens, but no statement runs.
    writeFile(lib + "/database/photos.db", std::string(5000, 'z'));
    EXPECT_TRUE(readLibrary(lib).empty());

    writeFileOfSize(lib + "/originals/0/a.jpg", 10);
    for (std::string blob : {std::string("not a plist"), std::string("bplist00\xff\xff\xff"), std::string()}) {
        std::filesystem::remove_all(lib + "/database");
        NewLibrary content;
        content.rawPlist = blob;
        content.assetTable = "ZGENERICASSET";
        content.assets = {{.uuid = "A", .directory = "0", .filename = "a.jpg"}};
        writeNewLibrary(lib, content);
        // The model version reads as 0, which means ZASSET: that table is absent.
        EXPECT_TRUE(readLibrary(lib).empty());
    }
}

TEST_F(PhotoLibraryReader, TruncatedDatabaseNeverCrashes) {
    OldLibrary content;
    for (int i = 0; i < 300; ++i)
        content.masters.push_back({.uuid = "u" + std::to_string(i), .imagePath = std::string(200, 'p'), .fileSize = i});
    writeOldLibrary(lib, content);
    std::string whole = readFile(lib + "/database/photos.db");
    ASSERT_GT(whole.size(), 20000u);
    for (size_t cut : {size_t(100), whole.size() / 3, whole.size() / 2, whole.size() - 4096}) {
        writeFile(lib + "/database/photos.db", whole.substr(0, cut));
        auto seen = readLibrary(lib);
        EXPECT_LT(seen.size(), 300u) << cut;
    }
}

// A database written to harm the reader: an asset table that never ends.
TEST_F(PhotoLibraryReader, AViewThatNeverEndsIsNotRun) {
    NewLibrary content;
    content.assets.push_back({.uuid = "A", .directory = "0", .filename = "a.jpg"});
    writeNewLibrary(lib, content);
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open((lib + "/database/Photos.sqlite").c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db,
                           "DROP TABLE ZASSET; CREATE VIEW ZASSET AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL "
                           "SELECT i + 1 FROM n) SELECT i AS Z_PK, 'U' || i AS ZUUID, '0' AS ZDIRECTORY, 'a.jpg' AS "
                           "ZFILENAME, NULL AS ZCLOUDBATCHPUBLISHDATE, 0 AS ZTRASHEDSTATE FROM n; "
                           "INSERT INTO ZADDITIONALASSETATTRIBUTES (ZASSET) SELECT 1;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(db);
    writeFile(lib + "/originals/0/a.jpg", "jpeg");
    size_t photos = 1;
    finishWithin([&] { photos = readLibrary(lib).size(); }, "the reader of an endless view");
    EXPECT_EQ(photos, 0u);
}

TEST_F(PhotoLibraryReader, PathsThatClimbOutOfTheLibraryAreSkipped) {
    NewLibrary content;
    content.assets = {{.uuid = "A", .directory = "0", .filename = "a.jpg"},
                      {.uuid = "B", .directory = "../../..", .filename = "secret"},
                      {.uuid = "C", .directory = "0/../..", .filename = "secret"},
                      {.uuid = "D", .directory = "0", .filename = "../../secret"}};
    writeNewLibrary(lib, content);
    writeFileOfSize(lib + "/originals/0/a.jpg", 4);
    writeFile(dir / "secret", "not a photo");
    EXPECT_EQ(readLibrary(lib), (std::vector<Seen>{{"A", lib + "/originals/0/a.jpg", 4}}));

    const std::string old = dir / "Old.photolibrary";
    OldLibrary oldContent;
    oldContent.volumes = {{.modelId = 1, .name = ".."}};
    oldContent.masters = {{.uuid = "M", .imagePath = "2020/m.jpg", .fileSize = 3},
                          {.uuid = "N", .imagePath = "../../../etc/passwd", .fileSize = 3},
                          {.uuid = "V", .volumeId = 1, .imagePath = "x.jpg", .fileSize = 3}};
    writeOldLibrary(old, oldContent);
    EXPECT_EQ(readLibrary(old), (std::vector<Seen>{{"M", old + "/Masters/2020/m.jpg", 3}}));
}

TEST(PhotoLibraryHelpers, ModelVersionReadsNumbersOnly) {
    TempDir dir;
    int files = 0;
    auto modelOf = [&](const platform::PlistValue& metadata) {
        std::string file = dir / ("m" + std::to_string(files++) + ".sqlite");
        NewLibrary content;
        content.rawPlist = platform::toXmlPropertyList(metadata);
        writeNewDatabase(file, content);
        sqlite3* db = nullptr;
        EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
        sqlite3_stmt* statement = nullptr;
        int version = dff::PhotoLibraryReader::database5ModelVersion(db, statement);
        EXPECT_EQ(statement, nullptr) << "the statement is finalized";
        sqlite3_close(db);
        return version;
    };
    using V = platform::PlistValue;
    EXPECT_EQ(modelOf(V::Dictionary{{"PLModelVersion", 13500.7}}), 13500);
    EXPECT_EQ(modelOf(V::Dictionary{{"PLModelVersion", "13000"}}), 0) << "a string is no number";
    EXPECT_EQ(modelOf(V::Dictionary{{"PLModelVersion", int64_t(1) << 40}}), 0) << "out of 32-bit range";
    EXPECT_EQ(modelOf(V::Dictionary{{"Other", 13000}}), 0);
    EXPECT_EQ(modelOf(V::Array{13000}), 0);
}

TEST(SystemPhotoLibraryFinder, ResolvesTheBookmarkWhenThePreferenceIsData) {
    EXPECT_FALSE(dff::SystemPhotoLibraryFinder::getSystemPhotoLibraryPath("com.example.photos"))
        << "the default service knows no library";
    ScopedPhotoService scoped;
    EXPECT_FALSE(dff::SystemPhotoLibraryFinder::getSystemPhotoLibraryPath("com.example.photos"));
    scoped.service->preference = platform::PlistValue("/Users/a/Pictures/P.photoslibrary");
    EXPECT_FALSE(dff::SystemPhotoLibraryFinder::getSystemPhotoLibraryPath("com.example.photos"))
        << "a preference that is not data";
    std::string path = "/Users/a/Pictures/P.photoslibrary";
    scoped.service->preference = platform::PlistValue(platform::PlistValue::Data(path.begin(), path.end()));
    auto url = dff::SystemPhotoLibraryFinder::getSystemPhotoLibraryPath("com.example.photos");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->path(), path);
}

TEST(OMPhotoLibraryLoader, OpensOnlyLibrariesWithAnIdentifier) {
    EXPECT_EQ(dff::OMPhotoLibraryLoader::fromPath("/lib"), nullptr);
    ScopedPhotoService scoped;
    scoped.service->libraryPath = "/lib";
    scoped.service->libraryId = "";
    EXPECT_EQ(dff::OMPhotoLibraryLoader::fromPath("/lib"), nullptr) << "no uuid";
    scoped.service->libraryId = "LIB-1";
    scoped.service->known = {"A", "B"};
    auto library = dff::OMPhotoLibraryLoader::fromPath("/lib");
    ASSERT_NE(library, nullptr);
    EXPECT_TRUE(scoped.service->multiLibrary);
    EXPECT_EQ(dff::OMPhotoLibraryLoader::fromPath("/other"), nullptr);

    auto assets = dff::OMPhotoLibraryLoader::fetchAssets({"A", "gone", "B"}, library);
    ASSERT_TRUE(assets);
    ASSERT_EQ(assets->size(), 2u);
    EXPECT_EQ((*assets)[1].uuid, "B");
    EXPECT_EQ(scoped.service->lastEntity, "Asset");
    EXPECT_FALSE(dff::OMPhotoLibraryLoader::fetchAssets({"A"}, nullptr));
}

}  // namespace
