#include "platform/SharedLibrary.h"

#include "platform/Analytics.h"

#include <dlfcn.h>

namespace platform {
namespace {

void unavailable(std::string_view service, const std::string& name, const std::string& why) {
    log(std::string(service) + " unavailable: " + name + ": " + why);
}

}  // namespace

void* openSharedLibrary(const std::string& name, std::string_view service) {
    void* handle = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* why = ::dlerror();
        unavailable(service, name, why != nullptr ? why : "it cannot be opened");
    }
    return handle;
}

void closeSharedLibrary(void* handle) { ::dlclose(handle); }

bool lookUpSymbol(void* handle, const char* symbol, void*& into, const std::string& name, std::string_view service) {
    into = ::dlsym(handle, symbol);
    if (into == nullptr) unavailable(service, name, std::string("it has no ") + symbol);
    return into != nullptr;
}

}  // namespace platform
