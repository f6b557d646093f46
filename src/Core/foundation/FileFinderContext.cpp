#include "Core/foundation/FileFinderContext.h"

namespace Core {

std::shared_ptr<FileFinderContext> FileFinderContext::make(std::function<void(platform::URL)> block) {
    return std::make_shared<FileFinderContext>(std::move(block));
}

FileFinderContext::FileFinderContext(std::function<void(platform::URL)> block)
    : urlObservable(std::move(block)),
      _lockQueue(platform::dispatch::makeSerialQueue("FileFinderContext.serializedQueue")) {}

const platform::dispatch::SpecificKey<FileFinderContext>& FileFinderContext::specificKey() {
    static const platform::dispatch::SpecificKey<FileFinderContext> key;
    return key;
}

std::shared_ptr<FileFinderContext> FileFinderContext::current() {
    return platform::dispatch::getSpecific(specificKey());
}

bool FileFinderContext::interrupted() const {
    bool value = false;
    _lockQueue->sync([&] { value = _interrupted; });
    return value;
}

void FileFinderContext::setInterrupted(bool value) {
    _lockQueue->async([weak = weak_from_this(), value] {
        if (auto self = weak.lock()) self->_interrupted = value;
    });
}

void FileFinderContext::interrupt() {
    std::function<void()> handler;
    _lockQueue->sync([&] {
        _interrupted = true;
        handler = onInterrupted;
    });
    for (const auto& item : workItems) item->cancel();
    workItems.clear();
    if (handler) handler();
}

void FileFinderContext::setOnInterrupted(std::function<void()> handler) {
    bool already = false;
    _lockQueue->sync([&] {
        onInterrupted = handler;
        already = _interrupted;
    });
    if (already && handler) handler();
}

}  // namespace Core
