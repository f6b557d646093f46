#pragma once
// Opening a shared library at run time, for the services that load theirs
// on first use rather than linking it: the image, Unicode and crypto
// libraries. A failure is said once in platform::log, as
// "<service> unavailable: <library>: <why>", and the caller goes on without.
//
//   void* handle = platform::openSharedLibrary("libz.so.1", "compression");
//   decltype(&::crc32) crc = nullptr;
//   if (handle && platform::lookUpFunction(handle, "crc32", crc, "libz.so.1", "compression")) ...

#include <memory>
#include <string>
#include <string_view>

namespace platform {

// The handle of `name`, opened with every symbol bound now and kept local;
// null when it cannot be opened.
void* openSharedLibrary(const std::string& name, std::string_view service);

// Closes what openSharedLibrary opened, when nothing of it is in use.
void closeSharedLibrary(void* handle);

// Whether `symbol` is there; a missing one is said in the log.
bool lookUpSymbol(void* handle, const char* symbol, void*& into, const std::string& name, std::string_view service);

// lookUpSymbol into a function pointer of the right type.
template <class Function>
bool lookUpFunction(void* handle, const char* symbol, Function*& into, const std::string& name,
                    std::string_view service) {
    void* found = nullptr;
    if (!lookUpSymbol(handle, symbol, found, name, service)) return false;
    into = reinterpret_cast<Function*>(found);
    return true;
}

// A new table of a library's functions: opens `name` and hands the handle
// and the table to `lookUp`, which fills it (with lookUpFunction) and says
// whether every function was there. Null when either fails; the library is
// then closed again.
//
//   auto table = platform::loadFunctionTable<Zlib>("libz.so.1", "compression", [&](void* handle, Zlib& z) {
//       return platform::lookUpFunction(handle, "crc32", z.crc32, "libz.so.1", "compression");
//   });
template <class Table, class LookUp>
std::unique_ptr<Table> loadFunctionTable(const std::string& name, std::string_view service, LookUp lookUp) {
    void* handle = openSharedLibrary(name, service);
    if (handle == nullptr) return nullptr;
    auto table = std::make_unique<Table>();
    if (lookUp(handle, *table)) return table;
    closeSharedLibrary(handle);
    return nullptr;
}

}  // namespace platform
