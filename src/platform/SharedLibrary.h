#pragma once
// Opening a shared library at run time, for the services that load theirs
// on first use rather than linking it: the image, Unicode, crypto,
// database, XML and codec libraries. A linked library is mapped and
// relocated at the start of every program, also of one that never reads a
// photo database or decodes a picture. A failure is said once in platform::log, as
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

// Says in the log that `service` goes without `library`, and why; for
// failures found after the library was opened (it will not start).
void logUnavailable(std::string_view service, const std::string& library, const std::string& why);

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

// A table of a library's functions kept as a list of names, each given to
// X:
//
//   #define ZLIB_FUNCTIONS(X) X(crc32) X(adler32)
//   struct Zlib { ZLIB_FUNCTIONS(CORE_FUNCTION_FIELD) };
//   auto zlib = CORE_LOAD_FUNCTION_TABLE(Zlib, ZLIB_FUNCTIONS, std::string("libz.so.1"), "compression");
//   const Zlib* shared = CORE_SHARED_FUNCTION_TABLE(Zlib, ZLIB_FUNCTIONS, "libz.so.1", "compression");
//
// CORE_SHARED_FUNCTION_TABLE gives the one table of the process for where it
// is written, loaded on the first call from any thread; null (said once in
// the log) when the library or one of its functions is missing. The table is
// never freed nor the library closed: statics destroyed late may still call
// it, and some libraries start threads of their own.
//
// A function is looked up under the name its header gives it after macro
// expansion, as some libraries' headers rename every call to a versioned
// symbol.
#define CORE_FUNCTION_FIELD(function) decltype(&::function) function = nullptr;
#define CORE_FUNCTION_NAME(function) CORE_FUNCTION_TEXT(function)
#define CORE_FUNCTION_TEXT(function) #function
#define CORE_LOOK_UP_FUNCTION(function)                                                                       \
    ::platform::lookUpFunction(coreHandle_, CORE_FUNCTION_NAME(function), coreTable_.function, coreLibrary_, \
                               coreService_) &&
#define CORE_LOAD_FUNCTION_TABLE(Table, FUNCTIONS, library, service)                                       \
    [&] {                                                                                                  \
        const std::string coreLibrary_ = (library);                                                        \
        const std::string_view coreService_ = (service);                                                   \
        return ::platform::loadFunctionTable<Table>(coreLibrary_, coreService_,                            \
                                                    [&](void* coreHandle_, Table& coreTable_) {            \
                                                        return FUNCTIONS(CORE_LOOK_UP_FUNCTION) true;      \
                                                    });                                                    \
    }()
#define CORE_SHARED_FUNCTION_TABLE(Table, FUNCTIONS, library, service)                                   \
    [&]() -> const Table* {                                                                             \
        static const Table* const coreShared_ =                                                         \
            CORE_LOAD_FUNCTION_TABLE(Table, FUNCTIONS, library, service).release();                     \
        return coreShared_;                                                                             \
    }()
