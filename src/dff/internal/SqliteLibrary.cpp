#include "dff/internal/SqliteLibrary.h"

#include <memory>

namespace dff::internal {

const SqliteLibrary* sharedSqliteLibrary() {
    static const std::unique_ptr<const SqliteLibrary> shared =
        CORE_LOAD_FUNCTION_TABLE(SqliteLibrary, CORE_SQLITE_FUNCTIONS, "libsqlite3.so.0", "Photo library databases");
    return shared.get();
}

}  // namespace dff::internal
