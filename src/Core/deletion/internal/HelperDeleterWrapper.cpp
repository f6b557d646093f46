#include "Core/deletion/internal/HelperDeleterWrapper.h"

#include "Core/deletion/Deleter.h"
#include "Core/deletion/internal/OnMain.h"

namespace Core {

HelperDeleterWrapper::HelperDeleterWrapper(std::weak_ptr<Deleter> deleter, std::vector<std::string> files,
                                           std::vector<std::string> scripts)
    : _deleter(std::move(deleter)),
      _files(std::move(files)),
      _scripts(std::move(scripts)),
      _connection(HelperConnection::create()) {}

std::shared_ptr<HelperDeleterWrapper> HelperDeleterWrapper::create(std::weak_ptr<Deleter> deleter,
                                                                   std::vector<std::string> files,
                                                                   std::vector<std::string> scripts) {
    auto wrapper = std::shared_ptr<HelperDeleterWrapper>(
        new HelperDeleterWrapper(std::move(deleter), std::move(files), std::move(scripts)));
    if (auto owner = wrapper->_deleter.lock()) owner->_helperActionError = false;
    wrapper->_connection->setDelegate(wrapper);
    std::weak_ptr<HelperDeleterWrapper> weakWrapper = wrapper;
    // Comes on the main queue.
    wrapper->_connection->setErrorHandler([weakWrapper] {
        if (auto self = weakWrapper.lock()) self->connectionFailed();
    });
    return wrapper;
}

void HelperDeleterWrapper::start() {
    if (_started) {
        if (auto helper = _connection->helper()) helper->resumeDeleting();
        return;
    }
    _started = true;
    if (!_connection->connect(true)) {
        helperDeletionCompleted();
        return;
    }
    auto helper = _connection->helper();
    if (auto owner = _deleter.lock()) helper->changeMode(owner->isShredder());
    helper->deleteAtPaths(_files, _scripts);
}

void HelperDeleterWrapper::pause() {
    if (auto helper = _connection->helper()) helper->pauseDeleting();
}

void HelperDeleterWrapper::stop() {
    if (auto helper = _connection->helper()) helper->stopDeleting();
}

void HelperDeleterWrapper::helperDeletingAt(const std::string& path) {
    onMain(_deleter, [path](Deleter& deleter) {
        if (auto delegate = deleter.delegate()) delegate->deleterCurrent(path);
    });
}

void HelperDeleterWrapper::helperDeletedAt(const std::string& path, bool success) {
    onMain(_deleter, [path, success](Deleter& deleter) { deleter.itemResult(path, success, 0); });
}

void HelperDeleterWrapper::helperLaunchedScript() {
    onMain(_deleter, [](Deleter& deleter) { deleter.scriptLaunched(); });
}

void HelperDeleterWrapper::helperDeletionCompleted() {
    platform::dispatch::mainQueue()->async([self = shared_from_this()] { self->phaseEnded(); });
}

void HelperDeleterWrapper::connectionFailed() {
    auto owner = _deleter.lock();
    if (owner) owner->_helperActionError = true;
    phaseEnded();
}

void HelperDeleterWrapper::phaseEnded() {
    if (_completed) return;
    _completed = true;
    // Keeps this wrapper (and its connection) alive while the Deleter moves
    // on and drops it.
    auto keep = shared_from_this();
    if (auto owner = _deleter.lock()) owner->helperFinished();
}

}  // namespace Core
