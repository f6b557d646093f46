#include "support/PhotoLibraryBuilder.h"

#include "platform/PropertyList.h"

#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <stdexcept>

namespace testing_support {

namespace {

class Database {
public:
    explicit Database(const std::string& file) {
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        if (sqlite3_open(file.c_str(), &_db) != SQLITE_OK) {
            sqlite3_close(_db);
            throw std::runtime_error("cannot create " + file);
        }
        // Fixtures need no durability; without syncs they are written at once.
        exec("PRAGMA synchronous = OFF");
        exec("BEGIN");
    }
    ~Database() {
        sqlite3_exec(_db, "COMMIT", nullptr, nullptr, nullptr);
        sqlite3_close(_db);
    }

    void exec(const std::string& sql) {
        char* message = nullptr;
        if (sqlite3_exec(_db, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
            std::string text = message ? message : "unknown";
            sqlite3_free(message);
            throw std::runtime_error("sqlite: " + text + " in " + sql);
        }
    }

    // Runs `sql` with the values `bind` sets on the statement.
    void insert(const std::string& sql, const std::function<void(sqlite3_stmt*)>& bind) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(_db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
            throw std::runtime_error("sqlite: cannot prepare " + sql);
        bind(statement);
        int rc = sqlite3_step(statement);
        sqlite3_finalize(statement);
        if (rc != SQLITE_DONE) throw std::runtime_error("sqlite: cannot run " + sql);
    }

private:
    sqlite3* _db = nullptr;
};

void bindText(sqlite3_stmt* s, int index, const std::optional<std::string>& text) {
    if (text)
        sqlite3_bind_text(s, index, text->c_str(), int(text->size()), SQLITE_TRANSIENT);
    else
        sqlite3_bind_null(s, index);
}

template <class T>
void bindNumber(sqlite3_stmt* s, int index, const std::optional<T>& value) {
    if (!value)
        sqlite3_bind_null(s, index);
    else if constexpr (std::is_floating_point_v<T>)
        sqlite3_bind_double(s, index, *value);
    else
        sqlite3_bind_int64(s, index, *value);
}

std::string metadataBlob(const NewLibrary& library) {
    if (library.rawPlist) return *library.rawPlist;
    platform::PlistValue::Dictionary entries{{"PLLibraryName", "Test"}};
    if (library.modelVersion) entries.emplace_back("PLModelVersion", int64_t(*library.modelVersion));
    platform::PlistValue root(std::move(entries));
    return library.binaryPlist ? platform::toBinaryPropertyList(root) : platform::toXmlPropertyList(root);
}

}  // namespace

void writeOldDatabase(const std::string& file, const OldLibrary& library) {
    Database db(file);
    if (library.libraryVersion) {
        db.exec("CREATE TABLE LiGlobals (modelId INTEGER PRIMARY KEY, keyPath VARCHAR, value VARCHAR)");
        db.exec("INSERT INTO LiGlobals (keyPath, value) VALUES ('databaseUuid', 'x')");
        db.insert("INSERT INTO LiGlobals (keyPath, value) VALUES ('libraryVersion', ?)",
                  [&](sqlite3_stmt* s) { sqlite3_bind_int(s, 1, *library.libraryVersion); });
    }
    db.exec("CREATE TABLE RKVolume (modelId INTEGER PRIMARY KEY, name VARCHAR)");
    db.exec("CREATE TABLE RKMaster (modelId INTEGER PRIMARY KEY, uuid VARCHAR, volumeId INTEGER, "
            "imagePath VARCHAR, fileSize INTEGER)");
    db.exec("CREATE TABLE RKVersion (modelId INTEGER PRIMARY KEY, uuid VARCHAR, masterUuid VARCHAR, "
            "isInTrash INTEGER)");
    for (const auto& volume : library.volumes)
        db.insert("INSERT INTO RKVolume (modelId, name) VALUES (?, ?)", [&](sqlite3_stmt* s) {
            sqlite3_bind_int(s, 1, volume.modelId);
            bindText(s, 2, volume.name);
        });
    int next = 0;
    for (const auto& master : library.masters) {
        // Masters are joined by their own uuid, which tests need not name.
        std::string masterUuid = "master-" + std::to_string(next++);
        db.insert("INSERT INTO RKMaster (uuid, volumeId, imagePath, fileSize) VALUES (?, ?, ?, ?)",
                  [&](sqlite3_stmt* s) {
                      sqlite3_bind_text(s, 1, masterUuid.c_str(), -1, SQLITE_TRANSIENT);
                      bindNumber(s, 2, master.volumeId);
                      bindText(s, 3, master.imagePath);
                      sqlite3_bind_int64(s, 4, master.fileSize);
                  });
        db.insert("INSERT INTO RKVersion (uuid, masterUuid, isInTrash) VALUES (?, ?, ?)", [&](sqlite3_stmt* s) {
            bindText(s, 1, master.uuid);
            sqlite3_bind_text(s, 2, masterUuid.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int(s, 3, master.isInTrash);
        });
    }
}

void writeNewDatabase(const std::string& file, const NewLibrary& library) {
    Database db(file);
    std::string table = library.assetTable;
    if (table.empty())
        table = library.modelVersion && *library.modelVersion >= 13000 && *library.modelVersion <= 13999
                    ? "ZGENERICASSET"
                    : "ZASSET";
    db.exec("CREATE TABLE Z_METADATA (Z_VERSION INTEGER PRIMARY KEY, Z_UUID VARCHAR(255), Z_PLIST BLOB)");
    std::string blob = metadataBlob(library);
    db.insert("INSERT INTO Z_METADATA (Z_VERSION, Z_UUID, Z_PLIST) VALUES (1, 'u', ?)", [&](sqlite3_stmt* s) {
        sqlite3_bind_blob(s, 1, blob.data(), int(blob.size()), SQLITE_TRANSIENT);
    });
    db.exec("CREATE TABLE " + table +
            " (Z_PK INTEGER PRIMARY KEY, ZUUID VARCHAR, ZDIRECTORY VARCHAR, ZFILENAME VARCHAR, "
            "ZCLOUDBATCHPUBLISHDATE TIMESTAMP, ZTRASHEDSTATE INTEGER)");
    db.exec("CREATE TABLE ZADDITIONALASSETATTRIBUTES (Z_PK INTEGER PRIMARY KEY, ZASSET INTEGER)");
    long long pk = 0;
    for (const auto& asset : library.assets) {
        ++pk;
        db.insert("INSERT INTO " + table +
                      " (Z_PK, ZUUID, ZDIRECTORY, ZFILENAME, ZCLOUDBATCHPUBLISHDATE, ZTRASHEDSTATE) "
                      "VALUES (?, ?, ?, ?, ?, ?)",
                  [&](sqlite3_stmt* s) {
                      sqlite3_bind_int64(s, 1, pk);
                      bindText(s, 2, asset.uuid);
                      bindText(s, 3, asset.directory);
                      bindText(s, 4, asset.filename);
                      bindNumber(s, 5, asset.cloudBatchPublishDate);
                      sqlite3_bind_int(s, 6, asset.trashedState);
                  });
        if (asset.hasAttributes)
            db.insert("INSERT INTO ZADDITIONALASSETATTRIBUTES (ZASSET) VALUES (?)",
                      [&](sqlite3_stmt* s) { sqlite3_bind_int64(s, 1, pk); });
    }
}

void writeOldLibrary(const std::string& library, const OldLibrary& content) {
    writeOldDatabase(library + "/database/photos.db", content);
}

void writeNewLibrary(const std::string& library, const NewLibrary& content) {
    OldLibrary versionOnly;
    versionOnly.libraryVersion = content.libraryVersion;
    writeOldDatabase(library + "/database/photos.db", versionOnly);
    writeNewDatabase(library + "/database/Photos.sqlite", content);
}

}  // namespace testing_support
