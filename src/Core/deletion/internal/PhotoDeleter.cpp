#include "Core/deletion/internal/PhotoDeleter.h"

#include "Core/deletion/DeletePhotoAssets.h"
#include "Core/deletion/Deleter.h"
#include "platform/Dispatch.h"

namespace Core {

std::shared_ptr<PhotoDeleter> PhotoDeleter::create(std::weak_ptr<Deleter> deleter) {
    return std::shared_ptr<PhotoDeleter>(new PhotoDeleter(std::move(deleter)));
}

void PhotoDeleter::start() {
    if (_stated) return;
    _stated = true;
    deletePhotos();
}

void PhotoDeleter::deletePhotos() {
    auto deleter = _deleter.lock();
    if (!deleter) return;
    if (!deleter->_photoLibraryPath) {
        // Photos without their library can't be found by the service.
        reportAll(false);
        return;
    }
    std::vector<std::string> ids;
    ids.reserve(deleter->_photos.size());
    for (const auto& photo : deleter->_photos) ids.push_back(photo.id);
    std::weak_ptr<PhotoDeleter> weakSelf = weak_from_this();
    deletePhotoAssets(*deleter->_photoLibraryPath, ids, [weakSelf](bool success, bool authorizationFailed) {
        if (auto self = weakSelf.lock()) self->outcome(success, authorizationFailed);
    });
}

void PhotoDeleter::outcome(bool success, bool authorizationFailed) {
    auto deleter = _deleter.lock();
    if (!deleter) return;
    if (success) {
        reportAll(true);
        return;
    }
    auto delegate = deleter->delegate();
    if (!delegate) return;
    std::weak_ptr<PhotoDeleter> weakSelf = weak_from_this();
    delegate->deleterAskPhotoRetry(authorizationFailed, [weakSelf](bool retry) {
        platform::dispatch::mainQueue()->async([weakSelf, retry] {
            auto self = weakSelf.lock();
            if (!self) return;
            if (retry)
                self->deletePhotos();
            else
                self->reportAll(false);
        });
    });
}

void PhotoDeleter::reportAll(bool deleted) {
    auto deleter = _deleter.lock();
    if (!deleter) return;
    auto keep = shared_from_this();
    for (const auto& photo : deleter->_photos) {
        if (auto delegate = deleter->delegate()) {
            if (deleted)
                delegate->deleterDeleted(photo.file.url().path(), std::nullopt);
            else
                delegate->deleterFailed(photo.file.url().path(), 0);
        }
        ++deleter->_currentCount;
        deleter->reportProgress();
    }
    deleter->finish();
}

}  // namespace Core
