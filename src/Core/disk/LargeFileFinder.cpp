#include "Core/disk/LargeFileFinder.h"

#include "platform/Layout.h"
#include "platform/MetadataIndex.h"

namespace Core {

namespace {

bool isExcluded(const std::string& path, const std::vector<platform::URL>& excluded) {
    for (const auto& url : excluded)
        if (path.starts_with(url.path())) return true;  // equal paths included
    return false;
}

}  // namespace

LargeFileFinder::LargeFileFinder()
    : _queue(std::make_shared<platform::OperationQueue>("LargeFileFinder.queue")) {
    _queue->setMaxConcurrentOperationCount(1);
}

void LargeFileFinder::start(int64_t minSize) {
    uint64_t generation = _generation->load();
    _queue->addOperation([generation, counter = _generation, weakDelegate = delegate,
                          excluded = exclubeFilesUrls, minSize] {
        auto live = [&] { return counter->load() == generation; };
        auto answer = platform::MetadataIndex::shared()->filesOfAtLeast(minSize);
        auto host = weakDelegate.lock();
        if (!live() || !host) return;
        if (!answer) {
            host->largeFileFinderFinished({});
            return;
        }
        // The index's one batch: its last item is the current one.
        if (!answer->empty()) host->largeFileFinderCurrent(platform::URL::fileURL(answer->back().path));
        std::string home = platform::Layout::shared().home();
        std::vector<File> files;
        for (const auto& item : *answer) {
            if (item.path.empty() || !item.path.starts_with(home)) continue;
            if (isExcluded(item.path, excluded)) continue;
            files.emplace_back(platform::URL::fileURL(item.path), item.size);
        }
        if (!live()) return;
        if (!files.empty()) host->largeFileFinderCurrent(files.back().url());
        host->largeFileFinderFinished(files);
    });
}

void LargeFileFinder::stop() {
    // The stand-in's query can't be cut short; its answer is dropped.
    ++*_generation;
}

void LargeFileFinder::waitUntilIdle() { _queue->waitUntilAllOperationsAreFinished(); }

}  // namespace Core
