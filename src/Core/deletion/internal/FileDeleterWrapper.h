#pragma once
// FileDeleterWrapper: the file phase of a delete run. Drives an
// OMFileDeleter with the user's rights; a path that fails with errno 9 or
// 13 is held back for the helper, silently; every other result goes to the
// Deleter on the main queue.
//
// Threading: DeleterProtocol on the main thread; the OMFileDeleterDelegate
// calls come on the file deleter's queue and hop to the main queue.

#include "Core/deletion/OMFileDeleter.h"
#include "Core/deletion/internal/DeleterProtocol.h"

#include <memory>
#include <string>
#include <vector>

namespace Core {

class Deleter;

class FileDeleterWrapper final : public DeleterProtocol,
                                 public OMFileDeleterDelegate,
                                 public std::enable_shared_from_this<FileDeleterWrapper> {
public:
    static std::shared_ptr<FileDeleterWrapper> create(std::weak_ptr<Deleter> deleter, std::vector<std::string> files,
                                                      bool isMoveToTrash, bool isShredder);

    void start() override { _fileDeleter->start(); }
    void pause() override { _fileDeleter->pause(); }
    void stop() override { _fileDeleter->stop(); }

    void fileDeleterCurrent(const std::string& path) override;
    void fileDeleterDeleted(const std::string& path, int error) override;
    void scriptDeleted() override {}
    void fileDeleterCompleted() override;

private:
    FileDeleterWrapper(std::weak_ptr<Deleter> deleter, std::shared_ptr<OMFileDeleter> fileDeleter)
        : _deleter(std::move(deleter)), _fileDeleter(std::move(fileDeleter)) {}

    std::weak_ptr<Deleter> _deleter;
    std::shared_ptr<OMFileDeleter> _fileDeleter;
    std::vector<std::string> _erroredPaths;  // written on the file deleter's queue only
};

}  // namespace Core
