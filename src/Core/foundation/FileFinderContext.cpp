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
    setInterrupted(true);
    for (const auto& item : workItems) item->cancel();
    workItems.clear();
    if (onInterrupted) onInterrupted();
}

}  // namespace Core
