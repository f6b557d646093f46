#include "platform/internal/IcuLibrary.h"

#include "platform/Analytics.h"

#include <dlfcn.h>
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
    void* handle = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* why = ::dlerror();
        log("Unicode services unavailable: " + name + ": " + (why != nullptr ? why : "it cannot be opened"));
        return nullptr;
    }
    auto icu = std::make_unique<IcuLibrary>();
#define CORE_ICU_LOOKUP(fn)                                                                    \
    icu->fn = reinterpret_cast<decltype(&::fn)>(::dlsym(handle, CORE_ICU_NAME(fn)));           \
    if (icu->fn == nullptr) {                                                                  \
        log("Unicode services unavailable: " + name + ": it has no " + CORE_ICU_NAME(fn));     \
        return nullptr;                                                                        \
    }
    CORE_ICU_FUNCTIONS(CORE_ICU_LOOKUP)
#undef CORE_ICU_LOOKUP
    return icu;
}

}  // namespace

const IcuLibrary* sharedIcuLibrary() {
    // Kept to the very end: patterns held by other statics and by threads
    // that end late close their matchers through it.
    static const IcuLibrary* const shared = load().release();
    return shared;
}

}  // namespace platform::internal
