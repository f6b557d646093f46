#include "dff/api/DuplicateFileFinder.h"

#include "platform/Memory.h"

#include <sys/stat.h>

#include <utility>

namespace Core {

std::shared_ptr<DuplicateFileFinder> makeSharedFinder() {
    return std::shared_ptr<DuplicateFileFinder>(new DuplicateFileFinder());
}

std::shared_ptr<DuplicateFileFinder> DuplicateFileFinder::shared() {
    // Never destroyed: a search block on its queue may hold the last other
    // reference while the process exits, and the finder must not then be
    // torn down on that thread under the feet of static destructors.
    static const auto* instance = new std::shared_ptr<DuplicateFileFinder>(makeSharedFinder());
    return *instance;
}

template <class Report>
void DuplicateFileFinder::toDelegate(Report report) {
    std::weak_ptr<DuplicateFileFinder> weakSelf = weak_from_this();
    platform::dispatch::mainQueue()->async([weakSelf, report = std::move(report)] {
        auto self = weakSelf.lock();
        if (!self) return;
        if (auto target = self->delegate.lock()) report(*target);
    });
}

void DuplicateFileFinder::progress(double value) {
    // The engine raises its value once for every file it reads; a hop to the
    // main queue for each would cost more than the reading. Steps under a
    // thousandth are folded into the next report; stage values always differ
    // by more, so none of them is lost. Every search begins with 0.3, which
    // always goes through and so starts the folding afresh.
    if (value != 0.3 && value - _lastProgress < 0.001) return;
    _lastProgress = value;
    toDelegate([value](DuplicateFileFinderDelegate& target) { target.progress(value); });
}

void DuplicateFileFinder::current(const platform::URL& url) {
    toDelegate([url](DuplicateFileFinderDelegate& target) { target.current(url); });
}

void DuplicateFileFinder::start(bool isOnlyDuplicates) {
    auto queue = platform::dispatch::makeSerialQueue("start(isOnlyDuplicates:)");
    std::weak_ptr<DuplicateFileFinder> weakSelf = weak_from_this();
    // The block keeps its queue alive until it has run; a later start makes
    // a queue of its own, and the searches take turns on the engine.
    queue->async([queue, weakSelf, isOnlyDuplicates] {
        auto self = weakSelf.lock();
        if (!self) return;
        dff::DFFResult result = self->find(isOnlyDuplicates);
        // The engine has freed the files of the search.
        platform::returnFreedMemory();
        auto duplicates = std::make_shared<DuplicateGroups>(records(result.duplicateFiles));
        auto similar = std::make_shared<DuplicateGroups>(records(result.similarFiles));
        self->toDelegate([duplicates, similar](DuplicateFileFinderDelegate& target) {
            target.completion(*duplicates, *similar);
        });
    });
}

DuplicateGroups DuplicateFileFinder::records(const dff::DFFGroups& groups) {
    DuplicateGroups out;
    out.reserve(groups.size());
    for (const auto& group : groups) {
        std::vector<Duplicate> members;
        members.reserve(group.size());
        for (const auto& member : group) {
            File file(member->url, member->size);
            if (const auto* photo = dynamic_cast<const dff::DFFPhoto*>(member.get()))
                members.push_back(Duplicate::makePhoto(Photo{photo->id, std::move(file)}));
            else
                members.push_back(Duplicate::makeFile(std::move(file)));
        }
        out.push_back(std::move(members));
    }
    return out;
}

bool Photo::isImage(const std::string& path) { return dff::DFFPhoto::isImage(platform::URL::fileURL(path)); }

platform::Image Photo::createImageThumbnail(const std::string& path, int32_t width) {
    return dff::DFFPhoto::createThumbnail(platform::URL::fileURL(path), width);
}

platform::Image Photo::createThumbnailIfIsImage(const std::string& path, int32_t width) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0 || !isImage(path)) return {};
    return createImageThumbnail(path, width);
}

}  // namespace Core
