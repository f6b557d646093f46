#include "Core/deletion/internal/FileDeleterWrapper.h"

#include "Core/deletion/Deleter.h"
#include "Core/deletion/internal/OnMain.h"

#include <cerrno>

namespace Core {

std::shared_ptr<FileDeleterWrapper> FileDeleterWrapper::create(std::weak_ptr<Deleter> deleter,
                                                               std::vector<std::string> files, bool isMoveToTrash,
                                                               bool isShredder) {
    auto fileDeleter = OMFileDeleter::create(std::move(files), {});
    fileDeleter->setIsMoveToTrash(isMoveToTrash);
    fileDeleter->setIsShredder(isShredder);
    auto wrapper = std::shared_ptr<FileDeleterWrapper>(new FileDeleterWrapper(std::move(deleter), fileDeleter));
    fileDeleter->setDelegate(wrapper);
    return wrapper;
}

void FileDeleterWrapper::fileDeleterCurrent(const std::string& path) {
    onMain(_deleter, [path](Deleter& deleter) {
        if (auto delegate = deleter.delegate()) delegate->deleterCurrent(path);
    });
}

void FileDeleterWrapper::fileDeleterDeleted(const std::string& path, int error) {
    if (error == EBADF || error == EACCES) {
        // The helper gets a second try; no report for this first failure.
        _erroredPaths.push_back(path);
        return;
    }
    onMain(_deleter, [path, error](Deleter& deleter) { deleter.itemResult(path, error == 0, error); });
}

void FileDeleterWrapper::fileDeleterCompleted() {
    // Sent last on the file deleter's queue: the list is complete here.
    onMain(_deleter, [erroredPaths = _erroredPaths](Deleter& deleter) { deleter.filesFinished(erroredPaths); });
}

}  // namespace Core
