#pragma once
// FileManager: the file manager's operations that the scanners share:
// listing a directory with a stop check and location reports, the size of a
// file or a whole directory (through the privileged helper where the user's
// rights don't reach), and the user's trash.
//
// Inside a scan (a FileFinderContext bound to the running queue, see
// FileFinderContext::current()) the listing and the directory size stop
// early when the context is interrupted, and report the location they work
// on through the context's urlObservable. Outside a scan they just run.
//
// Threading: every function may be called from any thread. The size of an
// unreadable directory blocks its thread until the helper answers.
//
//   auto entries = Core::FileManager::contents(dir, {Core::ResourceKey::isDirectory});
//   for (const auto& e : entries) if (*e.resourceValues.isDirectory) descend(e.url);
//   int64_t bytes = Core::FileManager::size(platform::URL::fileURL("/Users/a/Library/Caches"));

#include "Core/files/FileError.h"
#include "Core/foundation/File.h"
#include "platform/URL.h"

#include <chrono>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Core {

class OMHelperProtocol;

// The values a listing can read per entry; the name is always read.
enum class ResourceKey { name, fileSize, isDirectory, isAliasFile };

class FileManager {
public:
    // The entries of `of`, in the order the file system gives them, less
    // ".DS_Store" and less entries whose values can't be read (vanished
    // since the listing). `fileSize` is present for regular files only;
    // `isAliasFile` means a symbolic link. Inside a scan: empty when the
    // context is interrupted, and what was read so far when it is
    // interrupted during the listing. Throws FileError when the directory
    // can't be opened.
    static std::vector<URLResource> contents(const platform::URL& of, const std::vector<ResourceKey>& keys);
    // contents(), with a folder that can't be listed taken as empty: for
    // scans that shrink their results rather than fail.
    static std::vector<URLResource> contentsOrEmpty(const platform::URL& of, const std::vector<ResourceKey>& keys);

    // The values of one entry (not following a final symbolic link);
    // nothing when it can't be read.
    static std::optional<ResourceValues> resourceValues(const platform::URL& url, const std::vector<ResourceKey>& keys);

    // A regular file's size; a directory's total below it; 0 for anything
    // else, for what can't be read, and when the scan is interrupted. A
    // directory the user may not read is summed by the privileged helper,
    // but never on the main thread, and for at most kPrivilegedSizeDeadline
    // (installed clock), after which the helper is told to stop.
    static int64_t size(const platform::URL& url);
    static constexpr std::chrono::seconds kPrivilegedSizeDeadline{120};

    // The user's trash folder: the first of Layout's trash folders that
    // exists as a directory; nothing when none does.
    static std::optional<std::string> trashBinPath();
    // True when `path` (trailing slashes aside) is one of Layout's trash
    // folders.
    static bool isTrashBinPath(const std::string& path);

    // Test seams, process-wide; an empty function restores the default.
    // The native walk that sums a directory (default GetDirectorySize).
    using DirectorySizer = std::function<int64_t(const char* path, const std::atomic<bool>* stop, int32_t* error)>;
    static void setDirectorySizerForTesting(DirectorySizer sizer);
    // Connects to the privileged helper: the helper's proxy, or null when
    // it can't be reached. `connectionLost` is called if the connection
    // fails later. The default opens a HelperConnection, installing the tool
    // if needed.
    using HelperProvider = std::function<std::shared_ptr<OMHelperProtocol>(std::function<void()> connectionLost)>;
    static void setHelperProviderForTesting(HelperProvider provider);
};

}  // namespace Core
