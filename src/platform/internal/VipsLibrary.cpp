#include "platform/internal/VipsLibrary.h"

#include "platform/Analytics.h"
#include "platform/SharedLibrary.h"

namespace platform::internal {
namespace {

constexpr std::string_view kService = "image decoding";

// What the library's start-up macro does, through the table: refuse a
// library of another interface version, then initialise.
bool start(const VipsLibrary& vips, const std::string& name) {
    int found = vips.vips_version(3) - vips.vips_version(5);
    if (found != VIPS_LIBRARY_CURRENT - VIPS_LIBRARY_AGE) {
        logUnavailable(kService, name, "interface version " + std::to_string(found) + ", built for " +
                                        std::to_string(VIPS_LIBRARY_CURRENT - VIPS_LIBRARY_AGE));
        return false;
    }
    if (vips.vips_init("core") != 0) {
        vips.vips_error_clear();
        logUnavailable(kService, name, "it failed to start");
        return false;
    }
    // Cached operations would hand back the pixels of a file that has since
    // changed on disk; each thumbnail is made once anyway.
    vips.vips_cache_set_max(0);
    vips.vips_cache_set_max_mem(0);
    vips.vips_cache_set_max_files(0);
    // Callers decode pictures side by side, one per thread; the library's
    // own workers for one small thumbnail cost more in hand-overs (futex
    // calls by the hundred a picture) than they give.
    vips.vips_concurrency_set(1);
    // GLib writes to standard error unless a handler takes a domain; the
    // library's own domain and those of the GLib it brings are routed, and
    // the default handler catches the codecs' and any other.
    auto all = GLogLevelFlags(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION);
    for (const char* domain : {"VIPS", "GLib", "GLib-GObject", "GLib-GIO"})
        vips.g_log_set_handler(domain, all, routeLibraryLog, nullptr);
    vips.g_log_set_default_handler(routeLibraryLog, nullptr);
    return true;
}

}  // namespace

void routeLibraryLog(const char* domain, GLogLevelFlags level, const char* message, void*) {
    if ((level & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL)) == 0) return;
    log(std::string("image library: ") + (domain != nullptr ? domain : "") + ": " +
        (message != nullptr ? message : ""));
}

std::string defaultVipsLibraryName() {
    return "libvips.so." + std::to_string(VIPS_LIBRARY_CURRENT - VIPS_LIBRARY_AGE);
}

std::unique_ptr<const VipsLibrary> loadVipsLibrary(const std::string& name) {
    // A lookup through the handle also finds the functions of the libraries
    // it depends on, which is where the GLib ones live.
    auto vips = CORE_LOAD_FUNCTION_TABLE(VipsLibrary, CORE_VIPS_FUNCTIONS, name, kService);
    if (!vips) return nullptr;
    // Left open even when it will not start: it may have started threads.
    if (!start(*vips, name)) return nullptr;
    return vips;
}

const VipsLibrary* sharedVipsLibrary() {
    static const std::unique_ptr<const VipsLibrary> shared = loadVipsLibrary(defaultVipsLibraryName());
    return shared.get();
}

}  // namespace platform::internal
