#include "dff/PhotoLibraryReader.h"

#include "platform/Layout.h"
#include "platform/PropertyList.h"
#include "platform/SharedLibrary.h"
#include "platform/Strings.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <stdexcept>
#include <string_view>

namespace dff {

namespace {

// The database library is opened on first use rather than linked: only a
// search that meets a photo library reads a database.
#define CORE_SQLITE_FUNCTIONS(X)  \
    X(sqlite3_open_v2)            \
    X(sqlite3_close)              \
    X(sqlite3_db_config)          \
    X(sqlite3_limit)              \
    X(sqlite3_prepare_v2)         \
    X(sqlite3_progress_handler)   \
    X(sqlite3_step)               \
    X(sqlite3_finalize)           \
    X(sqlite3_column_type)        \
    X(sqlite3_column_int)         \
    X(sqlite3_column_int64)       \
    X(sqlite3_column_text)        \
    X(sqlite3_column_blob)        \
    X(sqlite3_column_bytes)

struct SqliteLibrary {
    CORE_SQLITE_FUNCTIONS(CORE_FUNCTION_FIELD)
};

// Its functions; without the library no database opens.
const SqliteLibrary& libsqlite() {
    const SqliteLibrary* sqlite =
        CORE_SHARED_FUNCTION_TABLE(SqliteLibrary, CORE_SQLITE_FUNCTIONS, "libsqlite3.so.0", "Photo library databases");
    if (sqlite == nullptr) throw std::runtime_error("Failed to open DB");
    return *sqlite;
}

constexpr int kFirstSecondKindVersion = 4026;

// A library's database is a file anybody could have written: its schema may
// hold views that loop or triggers, and its rows any count. The reader runs
// only its own statements, on tables alone, and gives up past a budget.
constexpr int kProgressInterval = 10000;        // virtual machine steps between checks
constexpr long kMaxProgressChecks = 200000;     // about two billion steps per statement
constexpr size_t kMaxRows = 5'000'000;

int progressBudget(void* checks) {
    return ++*static_cast<long*>(checks) > kMaxProgressChecks ? 1 : 0;
}

// Runs `sql`, handing each row to `row`; a statement that does not prepare
// gives no rows, and a step that fails ends the rows. The statement is
// finalized on every path.
template <class Row>
void eachRow(sqlite3* db, sqlite3_stmt*& statement, const char* sql, Row&& row) {
    statement = nullptr;
    if (libsqlite().sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK || !statement) {
        libsqlite().sqlite3_finalize(statement);
        statement = nullptr;
        return;
    }
    struct Finalizer {
        sqlite3_stmt*& statement;
        ~Finalizer() {
            libsqlite().sqlite3_finalize(statement);
            statement = nullptr;
        }
    } finalizer{statement};
    long checks = 0;
    libsqlite().sqlite3_progress_handler(db, kProgressInterval, progressBudget, &checks);
    size_t rows = 0;
    while (rows++ < kMaxRows && libsqlite().sqlite3_step(statement) == SQLITE_ROW)
        if (!row(statement)) break;
    libsqlite().sqlite3_progress_handler(db, 0, nullptr, nullptr);
}

bool isNull(sqlite3_stmt* statement, int column) { return libsqlite().sqlite3_column_type(statement, column) == SQLITE_NULL; }

// Opened read-only: the library belongs to the photo application, and a
// missing database must not be created.
sqlite3* openDatabase(const Path& path) {
    sqlite3* db = nullptr;
    if (libsqlite().sqlite3_open_v2(path.cStr(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        libsqlite().sqlite3_close(db);
        throw std::runtime_error("Failed to open DB");
    }
    libsqlite().sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    libsqlite().sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    libsqlite().sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    libsqlite().sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    libsqlite().sqlite3_limit(db, SQLITE_LIMIT_SQL_LENGTH, 1 << 16);
    return db;
}

// A path part read from the database may not climb out of where it is
// joined: no ".." component.
bool climbsOut(std::string_view part) {
    const auto pieces = platform::splitNonEmpty(part, '/');
    return std::find(pieces.begin(), pieces.end(), "..") != pieces.end();
}

struct DatabaseCloser {
    sqlite3*& db;
    ~DatabaseCloser() {
        libsqlite().sqlite3_close(db);
        db = nullptr;
    }
};

int toInt32(double number) {
    if (!std::isfinite(number) || number >= 2147483648.0 || number < -2147483648.0) return 0;
    return static_cast<int>(number);
}

}  // namespace

std::string sqlite3_column_string(sqlite3_stmt* statement, int column) {
    const unsigned char* text = libsqlite().sqlite3_column_text(statement, column);
    if (!text) return {};
    return std::string(reinterpret_cast<const char*>(text), static_cast<size_t>(libsqlite().sqlite3_column_bytes(statement, column)));
}

void PhotoLibraryReader::readPhotos(PhotoLibrary& library) {
    sqlite3* db = openDatabase(library.path / "database/photos.db");
    DatabaseCloser closer{db};
    sqlite3_stmt* statement = nullptr;
    if (databaseVersion(db, statement) < kFirstSecondKindVersion) {
        readDatabase4(library, db, statement);
        return;
    }
    libsqlite().sqlite3_close(db);
    db = nullptr;
    db = openDatabase(library.path / "database/Photos.sqlite");
    readDatabase5(library, db, statement);
}

int PhotoLibraryReader::databaseVersion(sqlite3* db, sqlite3_stmt*& statement) {
    int version = 0;
    eachRow(db, statement, "SELECT value from LiGlobals where LiGlobals.keyPath is 'libraryVersion'",
            [&](sqlite3_stmt* row) {
                version = libsqlite().sqlite3_column_int(row, 0);
                return false;
            });
    return version;
}

std::map<int, std::string> PhotoLibraryReader::database4Volumes(sqlite3* db, sqlite3_stmt*& statement) {
    std::map<int, std::string> volumes;
    eachRow(db, statement, "select RKVolume.modelId, RKVolume.name from RKVolume", [&](sqlite3_stmt* row) {
        if (!isNull(row, 1)) volumes[libsqlite().sqlite3_column_int(row, 0)] = sqlite3_column_string(row, 1);
        return true;
    });
    return volumes;
}

void PhotoLibraryReader::readDatabase4(PhotoLibrary& library, sqlite3* db, sqlite3_stmt*& statement) {
    const Path masters = library.path / "Masters";
    const std::map<int, std::string> volumes = database4Volumes(db, statement);
    const Path volumesRoot(platform::Layout::shared().systemPath("/Volumes"));
    eachRow(db, statement,
            "SELECT RKVersion.uuid, RKMaster.volumeId, RKMaster.imagePath, RKMaster.fileSize, RKVersion.isInTrash "
            "FROM RKVersion, RKMaster WHERE RKVersion.masterUuid = RKMaster.uuid",
            [&](sqlite3_stmt* row) {
                if (libsqlite().sqlite3_column_int(row, 4) == 1) return true;
                if (isNull(row, 0) || isNull(row, 2)) return true;
                std::string imagePath = sqlite3_column_string(row, 2);
                if (climbsOut(imagePath)) return true;
                Path path;
                if (isNull(row, 1)) {
                    // Managed: the file lies inside the library.
                    path = masters / imagePath;
                } else {
                    // Referenced: the file lies on a volume of its own.
                    auto volume = volumes.find(libsqlite().sqlite3_column_int(row, 1));
                    if (volume == volumes.end() || volume->second.find('/') != std::string::npos ||
                        volume->second == "..")
                        return true;
                    path = volumesRoot / volume->second / imagePath;
                }
                library.photos.emplace_back(sqlite3_column_string(row, 0), std::move(path),
                                            libsqlite().sqlite3_column_int64(row, 3), &library);
                return true;
            });
}

int PhotoLibraryReader::database5ModelVersion(sqlite3* db, sqlite3_stmt*& statement) {
    int version = 0;
    eachRow(db, statement, "SELECT MAX(Z_VERSION), Z_PLIST FROM Z_METADATA", [&](sqlite3_stmt* row) {
        const void* blob = libsqlite().sqlite3_column_blob(row, 1);
        int length = libsqlite().sqlite3_column_bytes(row, 1);
        if (!blob || length <= 0) return false;
        auto plist = platform::parsePropertyList(std::string_view(static_cast<const char*>(blob), size_t(length)));
        if (!plist) return false;
        if (const auto* value = plist->find("PLModelVersion"))
            if (auto number = value->number()) version = toInt32(*number);
        return false;
    });
    return version;
}

void PhotoLibraryReader::readDatabase5(PhotoLibrary& library, sqlite3*& db, sqlite3_stmt*& statement) {
    const Path originals = library.path / "originals";
    const Path cloudShared = library.path / "resources/cloudsharing/data";
    int model = database5ModelVersion(db, statement);
    const char* sql =
        model >= 13000 && model <= 13999
            ? "SELECT ZGENERICASSET.ZUUID, ZGENERICASSET.ZDIRECTORY, ZGENERICASSET.ZFILENAME, "
              "ZGENERICASSET.ZCLOUDBATCHPUBLISHDATE, ZGENERICASSET.ZTRASHEDSTATE FROM ZGENERICASSET JOIN "
              "ZADDITIONALASSETATTRIBUTES ON ZADDITIONALASSETATTRIBUTES.ZASSET = ZGENERICASSET.Z_PK ORDER BY "
              "ZGENERICASSET.ZUUID"
            : "SELECT ZASSET.ZUUID, ZASSET.ZDIRECTORY, ZASSET.ZFILENAME, ZASSET.ZCLOUDBATCHPUBLISHDATE, "
              "ZASSET.ZTRASHEDSTATE FROM ZASSET JOIN ZADDITIONALASSETATTRIBUTES ON "
              "ZADDITIONALASSETATTRIBUTES.ZASSET = ZASSET.Z_PK ORDER BY ZASSET.ZUUID";
    eachRow(db, statement, sql, [&](sqlite3_stmt* row) {
        if (libsqlite().sqlite3_column_int(row, 4) == 1) return true;
        if (isNull(row, 0) || isNull(row, 1) || isNull(row, 2)) return true;
        std::string directory = sqlite3_column_string(row, 1);
        std::string name = sqlite3_column_string(row, 2);
        if (climbsOut(directory) || name.find('/') != std::string::npos || name == "..") return true;
        Path path;
        if (!isNull(row, 3))
            path = cloudShared / directory / name;
        else if (!directory.empty() && directory[0] == '/')
            path = Path(directory) / name;
        else
            path = originals / directory / name;
        struct stat st {};
        // Not on disk: the original may live only in the cloud.
        if (::lstat(path.cStr(), &st) != 0) return true;
        library.photos.emplace_back(sqlite3_column_string(row, 0), std::move(path), st.st_size, &library);
        return true;
    });
}

}  // namespace dff
