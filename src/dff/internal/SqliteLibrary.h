#pragma once
// SqliteLibrary: the database library, opened on first use rather than
// linked; only a search that meets a photo library reads a database.
//
// Threading: sharedSqliteLibrary may be called from any thread; the table
// is read-only and never freed. The library is never closed.
//
//   if (const auto* sqlite = dff::internal::sharedSqliteLibrary()) sqlite->sqlite3_close(db);

#include "platform/SharedLibrary.h"

#include <sqlite3.h>

namespace dff::internal {

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

// The table, loaded on the first call; null when the library or one of its
// functions is missing, which goes to platform::log once.
const SqliteLibrary* sharedSqliteLibrary();

}  // namespace dff::internal
