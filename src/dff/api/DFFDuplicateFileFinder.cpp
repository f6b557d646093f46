#include "dff/api/DFFDuplicateFileFinder.h"

#include "dff/image/ImageFiles.h"
#include "platform/Dispatch.h"

#include <memory>
#include <mutex>
#include <stdexcept>

namespace dff {

namespace {

// The one engine of the process and the instance its callbacks report to.
std::mutex finderMutex;
std::unique_ptr<DuplicateFileFinder> finder;
DFFDuplicateFileFinder* owner = nullptr;

DuplicateFileFinder& engine() { return *finder; }

// Searches started from several queues take turns on the one engine.
std::mutex searchMutex;

}  // namespace

platform::Image DFFPhoto::createThumbnail(const platform::URL& url, int size) {
    return createThumbnailImage(url.path().c_str(), size);
}

bool DFFPhoto::isImage(const platform::URL& url) { return dff::isImage(url.path().c_str()); }

DFFDuplicateFileFinder::DFFDuplicateFileFinder() {
    std::lock_guard lock(finderMutex);
    if (owner != nullptr) throw std::logic_error("Another duplicate finder is alive");
    owner = this;
    finder = std::make_unique<DuplicateFileFinder>(
        [this](double value) { progress(value); },
        [this](const Path& path) { current(platform::URL::fileURL(path.str())); });
}

DFFDuplicateFileFinder::~DFFDuplicateFileFinder() {
    std::lock_guard lock(finderMutex);
    finder.reset();
    owner = nullptr;
}

void DFFDuplicateFileFinder::setRootFolderURLs(const std::vector<platform::URL>& urls) {
    _rootFolderURLs = urls;
    engine().paths.clear();
    for (const auto& url : urls) engine().paths.emplace_back(url.path());
}

void DFFDuplicateFileFinder::setExcludePaths(const std::vector<platform::URL>& urls) {
    _excludePaths = urls;
    engine().excludePaths.clear();
    for (const auto& url : urls) engine().excludePaths.emplace_back(url.path());
}

void DFFDuplicateFileFinder::setExcludeExtensions(const std::vector<std::string>& extensions) {
    _excludeExtensions = extensions;
    engine().excludeExtensions = extensions;
}

void DFFDuplicateFileFinder::setIncludeHiddenFolders(bool include) { engine().includeHiddenFolders = include; }
bool DFFDuplicateFileFinder::includeHiddenFolders() const { return engine().includeHiddenFolders; }
void DFFDuplicateFileFinder::setMinFileSize(long long size) { engine().minFileSize = size; }
long long DFFDuplicateFileFinder::minFileSize() const { return engine().minFileSize; }
void DFFDuplicateFileFinder::setThreads(unsigned threads) { engine().threads = threads; }
unsigned DFFDuplicateFileFinder::threads() const { return engine().threads; }

DFFResult DFFDuplicateFileFinder::find(bool onlyDuplicates) {
    // Waiting for another search's turn is a wait like any other.
    platform::dispatch::ScopedBlockingCall blocking;
    std::lock_guard lock(searchMutex);
    DuplicateFileFinder::Groups duplicates, similar;
    DFFResult result;
    try {
        engine().find(duplicates, similar, onlyDuplicates);
        result.duplicateFiles = convertResult(duplicates);
        result.similarFiles = convertResult(similar);
    } catch (...) {
        engine().releaseFiles();
        throw;
    }
    engine().releaseFiles();
    return result;
}

void DFFDuplicateFileFinder::stop() { engine().stop(); }

DFFGroups DFFDuplicateFileFinder::convertResult(const DuplicateFileFinder::Groups& groups) {
    DFFGroups out;
    out.reserve(groups.size());
    for (const auto& group : groups) {
        std::vector<std::shared_ptr<DFFFile>> members;
        members.reserve(group.size());
        for (const File* file : group) {
            bool isDirectory = dynamic_cast<const Container*>(file) != nullptr;
            if (const auto* photo = dynamic_cast<const Photo*>(file))
                members.push_back(
                    std::make_shared<DFFPhoto>(photo->id, platform::URL::fileURL(photo->path.str()), photo->size));
            else if (file->path.length() != 0)
                members.push_back(
                    std::make_shared<DFFFile>(platform::URL::fileURL(file->path.str(), isDirectory), file->size));
        }
        out.push_back(std::move(members));
    }
    return out;
}

void DFFDuplicateFileFinder::progress(double) {}
void DFFDuplicateFileFinder::current(const platform::URL&) {}

}  // namespace dff
