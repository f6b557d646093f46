#pragma once
// VipsLibrary: the image library, opened with dlopen on first use rather
// than linked, with every function the image service calls taken by dlsym
// into one table. Linking it would make the dynamic loader map it and its
// ~90 dependencies at start-up of every program, also of those that never
// decode a picture.
//
// Threading: loadVipsLibrary may be called from any thread; a loaded table
// is read-only and its functions are called from any thread. The library is
// never closed: its type registry and worker threads outlive any caller.
//
//   const platform::internal::VipsLibrary* vips = platform::internal::sharedVipsLibrary();
//   if (vips) vips->g_object_unref(image);

#include "platform/SharedLibrary.h"

#include <vips/vips.h>

#include <memory>
#include <string>

namespace platform::internal {

// Every function of the library (and of the GLib it brings) that the image
// service calls; one list so that none is called without being looked up.
#define CORE_VIPS_FUNCTIONS(X) \
    X(vips_version)            \
    X(vips_init)               \
    X(vips_error_clear)        \
    X(vips_cache_set_max)      \
    X(vips_cache_set_max_mem)  \
    X(vips_cache_set_max_files) \
    X(vips_concurrency_set)    \
    X(vips_type_find)          \
    X(vips_source_new_from_descriptor) \
    X(vips_jpegload_source)    \
    X(vips_pngload_source)     \
    X(vips_gifload_source)     \
    X(vips_webpload_source)    \
    X(vips_tiffload_source)    \
    X(vips_heifload_source)    \
    X(vips_autorot)            \
    X(vips_colourspace)        \
    X(vips_image_hasalpha)     \
    X(vips_flatten)            \
    X(vips_extract_band)       \
    X(vips_rshift_const1)      \
    X(vips_cast_uchar)         \
    X(vips_resize)             \
    X(vips_embed)              \
    X(vips_region_new)         \
    X(vips_region_prepare)     \
    X(vips_image_get_typeof)   \
    X(vips_image_get_string)   \
    X(vips_image_get_width)    \
    X(vips_image_get_height)   \
    X(vips_image_get_bands)    \
    X(g_log_set_handler)       \
    X(g_log_set_default_handler) \
    X(g_object_unref)

struct VipsLibrary {
    CORE_VIPS_FUNCTIONS(CORE_FUNCTION_FIELD)
};

// "libvips.so.N", N the interface version of the headers this was built with.
std::string defaultVipsLibraryName();

// Opens the library `name`, takes every function of the list, checks that
// its interface version is the one of the headers and starts it (cache off,
// its GLib log output routed into platform::log, see routeLibraryLog). Null when any of that fails; the reason then goes to
// platform::log as one line. Each call loads anew; the process keeps one
// table through sharedVipsLibrary().
std::unique_ptr<const VipsLibrary> loadVipsLibrary(const std::string& name);

// The GLib log handler installed when the library starts, for every log
// domain: warnings and lesser messages are dropped (they are about damaged
// files, which every caller learns of by value), critical ones and errors
// go to platform::log as one line. GLib itself writes nothing to standard
// error; where the log goes is the host's choice.
void routeLibraryLog(const char* domain, GLogLevelFlags level, const char* message, void*);

// The table loaded from defaultVipsLibraryName() on the first call; null
// (logged once) when it cannot be loaded.
const VipsLibrary* sharedVipsLibrary();

}  // namespace platform::internal
