#pragma once
// LargeFileFinder: the files of at least a given size below the user's home
// folder, largest first, from the metadata index ("kMDItemFSSize >= N"),
// without reading any folder itself. Files whose path begins with the path
// of an entry of exclubeFilesUrls (a plain prefix: an excluded folder takes
// all below it, and also a sibling whose name begins with it) are left out.
//
// Threading: start, stop and exclubeFilesUrls on the host's thread. The
// query runs on the finder's own serial operation queue, and the delegate
// hears from that queue, not from the main thread. After stop() no callback
// follows.
//
//   auto finder = std::make_shared<Core::LargeFileFinder>();
//   finder->delegate = host;   // held weakly
//   finder->start(100 << 20);

#include "Core/foundation/File.h"
#include "platform/OperationQueue.h"
#include "platform/URL.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace Core {

class LargeFileFinderDelegate {
public:
    virtual ~LargeFileFinderDelegate() = default;
    // While results come in, and once at the end: the current item.
    virtual void largeFileFinderCurrent(const platform::URL& url) = 0;
    // Once, at the end: the files, largest first.
    virtual void largeFileFinderFinished(const std::vector<File>& files) = 0;
};

class LargeFileFinder {
public:
    LargeFileFinder();
    LargeFileFinder(const LargeFileFinder&) = delete;
    LargeFileFinder& operator=(const LargeFileFinder&) = delete;

    std::weak_ptr<LargeFileFinderDelegate> delegate;
    std::vector<platform::URL> exclubeFilesUrls;

    void start(int64_t minSize);
    void stop();
    // Waits until the queued queries and stops have run (for tests and
    // console hosts).
    void waitUntilIdle();

private:
    std::shared_ptr<platform::OperationQueue> _queue;
    // Raised by stop(); a query started before it reports nothing.
    std::shared_ptr<std::atomic<uint64_t>> _generation = std::make_shared<std::atomic<uint64_t>>(0);
};

}  // namespace Core
