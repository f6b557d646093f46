#include "Core/deletion/Deleter.h"

#include "Core/deletion/internal/FileDeleterWrapper.h"
#include "Core/deletion/internal/HelperDeleterWrapper.h"
#include "Core/deletion/internal/PhotoDeleter.h"
#include "platform/Dispatch.h"
#include "platform/PurgeableSpace.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Core {

namespace {

using platform::dispatch::mainQueue;

constexpr const char* kPurgeablePath = "/";
// How long the end of the purgeable step waits before it is reported.
constexpr double kPurgeableSettle = 1.0;

int countItems(size_t files, size_t photos, size_t scripts, bool purgeable) {
    return static_cast<int>(files + photos + scripts) + (purgeable ? 1 : 0);
}

}  // namespace

std::shared_ptr<Deleter> Deleter::create(std::vector<std::string> files, std::vector<Photo> photos,
                                         std::optional<std::string> photoLibraryPath,
                                         std::vector<std::string> scripts, bool isCleanPurgeableSpace) {
    return std::shared_ptr<Deleter>(new Deleter(std::move(files), std::move(photos), std::move(photoLibraryPath),
                                                std::move(scripts), isCleanPurgeableSpace));
}

Deleter::Deleter(std::vector<std::string> files, std::vector<Photo> photos,
                 std::optional<std::string> photoLibraryPath, std::vector<std::string> scripts,
                 bool isCleanPurgeableSpace)
    : _files(std::move(files)),
      _photos(std::move(photos)),
      _scripts(std::move(scripts)),
      _totalCount(countItems(_files.size(), _photos.size(), _scripts.size(), isCleanPurgeableSpace)),
      _isCleanPurgeableSpace(isCleanPurgeableSpace),
      _photoLibraryPath(std::move(photoLibraryPath)) {}

Deleter::~Deleter() = default;

bool Deleter::isDeletingPhotos() const { return dynamic_cast<PhotoDeleter*>(_deleter.get()) != nullptr; }

void Deleter::start() {
    switch (_state) {
    case DeleterState::created:
        _state = DeleterState::started;
        if (_files.empty() && !_isCleanPurgeableSpace) {
            filesFinished({});
            return;
        }
        _deleter = FileDeleterWrapper::create(weak_from_this(), _files, _isMoveToTrash, _isShredder);
        _deleter->start();
        return;
    case DeleterState::started:
    case DeleterState::stopped:
        // How a paused worker goes on.
        if (_deleter) _deleter->start();
        return;
    case DeleterState::paused:
    case DeleterState::completed:
        return;
    }
}

void Deleter::pause() {
    if (_state == DeleterState::started && _deleter) _deleter->pause();
}

void Deleter::stop() {
    switch (_state) {
    case DeleterState::created:
        finish();
        return;
    case DeleterState::started:
    case DeleterState::paused:
        _state = DeleterState::stopped;
        if (_deleter) _deleter->stop();
        if (_isCleanningPurgeableSpace) finish();
        return;
    case DeleterState::stopped:
    case DeleterState::completed:
        return;
    }
}

void Deleter::filesFinished(const std::vector<std::string>& erroredPaths) {
    if (_state == DeleterState::completed) return;
    if (_state == DeleterState::stopped) {
        finish();
        return;
    }
    if (erroredPaths.empty() && _scripts.empty()) {
        helperFinished();
        return;
    }
    _deleter = HelperDeleterWrapper::create(weak_from_this(), erroredPaths, _scripts);
    if (_state == DeleterState::started) _deleter->start();
}

void Deleter::helperFinished() {
    if (_state == DeleterState::completed) return;
    if (_state == DeleterState::stopped) {
        finish();
        return;
    }
    if (_isCleanPurgeableSpace) cleanPurgeableSpace();
    if (_photos.empty()) {
        // With purgeable space under way, its end ends the run.
        if (!_isCleanPurgeableSpace) finish();
        return;
    }
    _deleter = PhotoDeleter::create(weak_from_this());
    if (_state == DeleterState::started) _deleter->start();
}

void Deleter::finish() {
    if (_state == DeleterState::completed) return;
    _state = DeleterState::completed;
    if (auto delegate = _delegate.lock()) delegate->deleterCompleted();
    _deleter.reset();
}

void Deleter::reportProgress() {
    if (auto delegate = _delegate.lock())
        delegate->deleterProgress(static_cast<double>(_currentCount) / static_cast<double>(_totalCount));
}

void Deleter::itemResult(const std::string& path, bool success, int32_t error) {
    if (auto delegate = _delegate.lock()) {
        if (success)
            delegate->deleterDeleted(path, std::nullopt);
        else
            delegate->deleterFailed(path, error);
    }
    ++_currentCount;
    reportProgress();
}

void Deleter::scriptLaunched() {
    ++_currentCount;
    reportProgress();
}

void Deleter::cleanPurgeableSpace() {
    _isCleanningPurgeableSpace = true;
    if (auto delegate = _delegate.lock()) delegate->deleterCurrent(kPurgeablePath);
    std::weak_ptr<Deleter> weakSelf = weak_from_this();
    platform::dispatch::globalQueue(platform::dispatch::QoS::defaultQoS)->async([weakSelf] {
        auto space = platform::PurgeableSpace::shared();
        auto group = std::make_shared<platform::dispatch::Group>();
        group->enter();
        // No estimate asks for nothing beyond what is free.
        uint64_t estimate = static_cast<uint64_t>(std::max<int64_t>(0, space->recoveryEstimate(kPurgeablePath)));
        uint64_t availableCapacity = 0;
        struct statvfs volume {};
        if (::statvfs(kPurgeablePath, &volume) == 0) {
            availableCapacity = static_cast<uint64_t>(volume.f_bavail) * volume.f_frsize;
        } else {
            std::printf("Error get available space: %s\n", std::strerror(errno));
            std::fflush(stdout);
        }
        auto message = std::make_shared<std::optional<std::string>>();
        space->startRecovery(kPurgeablePath, availableCapacity + estimate, mainQueue(),
                             [group, message](bool, uint64_t, std::optional<std::string> error) {
                                 if (error) *message = std::move(error);
                                 group->leave();
                             });
        group->wait();
        mainQueue()->async([weakSelf, message] {
            auto self = weakSelf.lock();
            if (!self) return;
            self->_isCleanPurgeableSpace = false;
            self->purgeableFinished(*message);
        });
    });
}

void Deleter::purgeableFinished(const std::optional<std::string>& message) {
    // The recovery's effect on the volume settles for a moment before the
    // step is reported done.
    std::weak_ptr<Deleter> weakSelf = weak_from_this();
    mainQueue()->asyncAfter(std::chrono::duration<double>(kPurgeableSettle), [weakSelf, message] {
        auto self = weakSelf.lock();
        if (!self) return;
        self->_isCleanningPurgeableSpace = false;
        ++self->_currentCount;
        if (auto delegate = self->_delegate.lock()) delegate->deleterDeleted(kPurgeablePath, message);
        if (self->_currentCount == self->_totalCount || self->_helperActionError)
            self->helperFinished();
        else
            self->reportProgress();
    });
}

}  // namespace Core
