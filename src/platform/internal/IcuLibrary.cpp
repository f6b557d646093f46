#include "platform/internal/IcuLibrary.h"

#include "platform/SharedLibrary.h"

#include <unicode/uvernum.h>

#include <memory>
#include <string>

namespace platform::internal {
namespace {

// The name a call is renamed to by the headers, as text.
#define CORE_ICU_NAME(fn) CORE_ICU_TEXT(fn)
#define CORE_ICU_TEXT(fn) #fn

std::unique_ptr<const IcuLibrary> load() {
    // The regular expressions live in the i18n part; a lookup through its
    // handle also finds the common part it depends on.
    const std::string name = "libicui18n.so." + std::to_string(U_ICU_VERSION_MAJOR_NUM);
    constexpr std::string_view kService = "Unicode services";
    return platform::loadFunctionTable<IcuLibrary>(name, kService, [&](void* handle, IcuLibrary& icu) {
#define CORE_ICU_LOOKUP(fn) platform::lookUpFunction(handle, CORE_ICU_NAME(fn), icu.fn, name, kService) &&
        return CORE_ICU_FUNCTIONS(CORE_ICU_LOOKUP) true;
#undef CORE_ICU_LOOKUP
    });
}

}  // namespace

const IcuLibrary* sharedIcuLibrary() {
    // Kept to the very end: patterns held by other statics and by threads
    // that end late close their matchers through it.
    static const IcuLibrary* const shared = load().release();
    return shared;
}

}  // namespace platform::internal
