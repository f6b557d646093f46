#include "platform/SharedLibrary.h"

#include "platform/Analytics.h"

#include <dlfcn.h>

namespace platform {

void logUnavailable(std::string_view service, const std::string& library, const std::string& why) {
    log(std::string(service) + " unavailable: " + library + ": " + why);
}

void* openSharedLibrary(const std::string& name, std::string_view service) {
    void* handle = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* why = ::dlerror();
        logUnavailable(service, name, why != nullptr ? why : "it cannot be opened");
    }
    return handle;
}

void closeSharedLibrary(void* handle) { ::dlclose(handle); }

bool lookUpSymbol(void* handle, const char* symbol, void*& into, const std::string& name, std::string_view service) {
    into = ::dlsym(handle, symbol);
    if (into == nullptr) logUnavailable(service, name, std::string("it has no ") + symbol);
    return into != nullptr;
}

}  // namespace platform
