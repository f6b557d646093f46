#include "platform/internal/IcuLibrary.h"

#include <unicode/uvernum.h>

#include <memory>
#include <string>

namespace platform::internal {
namespace {

std::unique_ptr<const IcuLibrary> load() {
    // The regular expressions live in the i18n part; a lookup through its
    // handle also finds the common part it depends on.
    return CORE_LOAD_FUNCTION_TABLE(IcuLibrary, CORE_ICU_FUNCTIONS,
                                    "libicui18n.so." + std::to_string(U_ICU_VERSION_MAJOR_NUM), "Unicode services");
}

}  // namespace

const IcuLibrary* sharedIcuLibrary() {
    // Kept to the very end: patterns held by other statics and by threads
    // that end late close their matchers through it.
    static const IcuLibrary* const shared = load().release();
    return shared;
}

}  // namespace platform::internal
