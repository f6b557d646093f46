#pragma once
// IcuLibrary: the Unicode library, opened with dlopen on first use rather
// than linked, with every function that regular expressions and case
// folding call taken by dlsym into one table. Linked, it is mapped and
// relocated at start-up of every program, also of those that never match a
// pattern or fold a non-ASCII name (1.6 MB of a console host's memory).
//
// The library's C entry points carry its version in their names
// ("uregex_open_72"); its headers rename every call, so the table is looked
// up under the names this was built with.
//
// Threading: sharedIcuLibrary may be called from any thread; the table is
// read-only, never freed, and its functions are called from any thread.
// The library is never closed.
//
//   if (const auto* icu = platform::internal::sharedIcuLibrary()) icu->u_errorName(status);

#include "platform/SharedLibrary.h"

#include <unicode/uregex.h>
#include <unicode/ustring.h>
#include <unicode/utypes.h>

namespace platform::internal {

#define CORE_ICU_FUNCTIONS(X)       \
    X(u_errorName)                  \
    X(u_strToUTF8)                  \
    X(u_strCaseCompare)             \
    X(u_strToLower)                 \
    X(uregex_open)                  \
    X(uregex_clone)                 \
    X(uregex_close)                 \
    X(uregex_groupNumberFromName)   \
    X(uregex_groupCount)            \
    X(uregex_setText)               \
    X(uregex_find)                  \
    X(uregex_start)                 \
    X(uregex_end)

struct IcuLibrary {
    CORE_ICU_FUNCTIONS(CORE_FUNCTION_FIELD)
};

// The table, loaded on the first call; null when the library or one of its
// functions is missing, which goes to platform::log once.
const IcuLibrary* sharedIcuLibrary();

}  // namespace platform::internal
