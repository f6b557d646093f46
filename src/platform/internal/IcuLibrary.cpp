#include "platform/internal/IcuLibrary.h"

#include <unicode/uvernum.h>

#include <string>

namespace platform::internal {

const IcuLibrary* sharedIcuLibrary() {
    // The regular expressions live in the i18n part; a lookup through its
    // handle also finds the common part it depends on.
    return CORE_SHARED_FUNCTION_TABLE(IcuLibrary, CORE_ICU_FUNCTIONS,
                                      "libicui18n.so." + std::to_string(U_ICU_VERSION_MAJOR_NUM), "Unicode services");
}

}  // namespace platform::internal
