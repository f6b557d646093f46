#pragma once
// Builds photo libraries for tests, benchmarks and fuzz seeds: the folder,
// and the two kinds of database with the tables and columns the reader asks
// for, written with SQLite.
//
//   testing_support::NewLibrary lib;
//   lib.modelVersion = 14000;
//   lib.assets.push_back({.uuid = "A", .directory = "0", .filename = "a.jpg"});
//   testing_support::writeNewLibrary(dir / "P.photoslibrary", lib);

#include <optional>
#include <string>
#include <vector>

namespace testing_support {

// A row of RKVolume.
struct Volume {
    int modelId = 0;
    std::optional<std::string> name = std::nullopt;
};

// A row of RKVersion with the RKMaster row it points at.
struct Master {
    std::optional<std::string> uuid = std::nullopt;
    std::optional<int> volumeId = std::nullopt;
    std::optional<std::string> imagePath = std::nullopt;
    long long fileSize = 0;
    int isInTrash = 0;
};

// An older library: "database/photos.db" alone.
struct OldLibrary {
    // Written to LiGlobals under "libraryVersion"; none: no LiGlobals table.
    std::optional<int> libraryVersion = 4025;
    std::vector<Volume> volumes = {};
    std::vector<Master> masters = {};
};

// A row of ZASSET (or ZGENERICASSET) with its ZADDITIONALASSETATTRIBUTES row.
struct Asset {
    std::optional<std::string> uuid = std::nullopt;
    std::optional<std::string> directory = std::nullopt;
    std::optional<std::string> filename = std::nullopt;
    std::optional<double> cloudBatchPublishDate = std::nullopt;
    int trashedState = 0;
    // False leaves out the attributes row, so the join drops the asset.
    bool hasAttributes = true;
};

// A newer library: "database/photos.db" with the version, and
// "database/Photos.sqlite" with the assets.
struct NewLibrary {
    int libraryVersion = 4026;
    // "PLModelVersion" in the Z_METADATA property list; none: left out.
    std::optional<long long> modelVersion = 14000;
    // The property list in binary form, else XML.
    bool binaryPlist = true;
    // Raw bytes for Z_PLIST instead of the property list.
    std::optional<std::string> rawPlist = std::nullopt;
    // Table of the assets; empty: ZGENERICASSET for models 13000 to 13999,
    // ZASSET otherwise.
    std::string assetTable = {};
    std::vector<Asset> assets = {};
};

// Each writer adds its tables to the database file `file`, creating it and
// its folder when needed. Throws std::runtime_error when SQLite fails.
void writeOldDatabase(const std::string& file, const OldLibrary& library);
void writeNewDatabase(const std::string& file, const NewLibrary& library);

// Whole libraries in the folder `library`.
void writeOldLibrary(const std::string& library, const OldLibrary& content);
void writeNewLibrary(const std::string& library, const NewLibrary& content);

}  // namespace testing_support
