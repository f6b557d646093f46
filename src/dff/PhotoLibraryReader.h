#pragma once
// dff::PhotoLibraryReader: learns which files are the photos of a photo
// library by reading the library's database, read-only. Two kinds exist:
//
//   libraryVersion < 4026 (or none)   "database/photos.db"      RKVersion + RKMaster, size from the row
//   4026 or more                      "database/Photos.sqlite"  ZGENERICASSET (model 13000-13999) or
//                                                               ZASSET, size from lstat
//
// A statement that fails to prepare reads as no rows; a row that does not
// fit is skipped.
//
// Threading: stateless; one library per call. Calls for different libraries
// may run on different threads.
//
//   auto library = dff::make<dff::PhotoLibrary>(dff::Path(path), nullptr);
//   dff::PhotoLibraryReader::readPhotos(*library);   // throws "Failed to open DB"

#include "dff/PhotoLibrary.h"

#include <map>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace dff {

class PhotoLibraryReader {
public:
    // Appends the library's photos to `library.photos`, each with the
    // library as parent. Throws std::runtime_error("Failed to open DB") when
    // a database can't be opened.
    static void readPhotos(PhotoLibrary& library);

    // The "libraryVersion" of LiGlobals; 0 when there is none or the
    // statement can't run.
    static int databaseVersion(sqlite3* db, sqlite3_stmt*& statement);
    // The photos of an older library: RKVersion joined with RKMaster.
    static void readDatabase4(PhotoLibrary& library, sqlite3* db, sqlite3_stmt*& statement);
    // The photos of a newer library that are on disk: ZASSET or ZGENERICASSET.
    static void readDatabase5(PhotoLibrary& library, sqlite3*& db, sqlite3_stmt*& statement);
    // Volume names of an older library by model id; rows without a name are
    // left out.
    static std::map<int, std::string> database4Volumes(sqlite3* db, sqlite3_stmt*& statement);
    // "PLModelVersion" of the property list in Z_METADATA; 0 when absent.
    static int database5ModelVersion(sqlite3* db, sqlite3_stmt*& statement);
};

// The text of a column ("" for NULL).
std::string sqlite3_column_string(sqlite3_stmt* statement, int column);

}  // namespace dff
