#pragma once
// PhotoDeleter: the photo phase of a delete run. Photos belong to the photo
// service, so they are deleted through it (deletePhotoAssets) by their
// identifiers; when the service fails or the user refuses, the host is asked
// whether to try again, and a final no reports every photo failed (error 0).
// pause and stop do nothing: a deletion the service runs can't be taken back.
//
// Threading: main thread only; the service's answer comes on the main queue.

#include "Core/deletion/internal/DeleterProtocol.h"

#include <memory>

namespace Core {

class Deleter;

class PhotoDeleter final : public DeleterProtocol, public std::enable_shared_from_this<PhotoDeleter> {
public:
    static std::shared_ptr<PhotoDeleter> create(std::weak_ptr<Deleter> deleter);

    // Runs the deletion once; later calls do nothing.
    void start() override;
    void pause() override {}
    void stop() override {}

private:
    explicit PhotoDeleter(std::weak_ptr<Deleter> deleter) : _deleter(std::move(deleter)) {}
    void deletePhotos();
    void outcome(bool success, bool authorizationFailed);
    // Every photo through slot 3 (deleted) or slot 4 (failed, error 0), then
    // the end of the run.
    void reportAll(bool deleted);

    std::weak_ptr<Deleter> _deleter;
    bool _stated = false;
};

}  // namespace Core
