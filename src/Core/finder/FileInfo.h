#pragma once
// FileInfo: one name that a leaf of the match tree has hit: a file, or a
// directory taken whole. It belongs from then on to the priority of the
// first leaf that hit it, and is shared by every scan result that names it.
//
// Threading: url and priority never change. `size` is computed lazily by
// FileFinder::makeAppFiles, possibly on several threads, and only under
// `semaphore`. `used` is the callers' mark; they set it on the thread that
// runs the walk.
//
//   auto info = std::make_shared<Core::FileInfo>(platform::URL::fileURL("/Users/a/Library/Caches/x"), 40);
//   platform::dispatch::SemaphoreGuard guard(info->semaphore);
//   if (!info->size) info->size = measure(info->url);

#include "platform/Dispatch.h"
#include "platform/URL.h"

#include <cstdint>
#include <optional>

namespace Core {

class FileInfo {
public:
    FileInfo(platform::URL url, int64_t priority) : url(std::move(url)), priority(priority) {}
    FileInfo(const FileInfo&) = delete;
    FileInfo& operator=(const FileInfo&) = delete;

    const platform::URL url;
    const int64_t priority;
    // Set by callers when a scan has taken the file; the walk never reads it.
    bool used = false;
    // Absent until measured; guarded by `semaphore`.
    std::optional<int64_t> size;
    platform::dispatch::Semaphore semaphore{1};
};

}  // namespace Core
