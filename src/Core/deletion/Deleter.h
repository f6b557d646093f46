#pragma once
// Deleter: one delete run over what the user chose: paths, uninstallers'
// shell scripts, photos of a photo library, and the system's purgeable
// space. Phases in order: the paths with the user's own rights (last to
// first); what failed for want of rights (errno 9 or 13) and every script to
// the privileged helper; then purgeable space and photos side by side. One
// worker per phase; the delegate hears every item and, once, the end.
//
// Threading: create, configure and call start/pause/stop on the main
// thread; delegate calls come on the main queue. A Deleter serves one run.
// Owned by a shared_ptr (create()): the workers hold it weakly, and a
// Deleter that is gone ends their callbacks silently.
//
//   auto deleter = Core::Deleter::create({"/tmp/a"}, {}, std::nullopt, {}, false);
//   deleter->setDelegate(host);
//   deleter->setIsMoveToTrash(true);
//   deleter->start();

#include "Core/deletion/DeleterDelegate.h"
#include "Core/deletion/DeleterState.h"
#include "dff/api/Photo.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Core {

class DeleterProtocol;
class FileDeleterWrapper;
class HelperDeleterWrapper;
class PhotoDeleter;

class Deleter : public std::enable_shared_from_this<Deleter> {
public:
    // Stores the lists and counts the items (plus one for purgeable space
    // when asked); does nothing else.
    static std::shared_ptr<Deleter> create(std::vector<std::string> files, std::vector<Photo> photos,
                                           std::optional<std::string> photoLibraryPath,
                                           std::vector<std::string> scripts, bool isCleanPurgeableSpace);
    ~Deleter();
    Deleter(const Deleter&) = delete;
    Deleter& operator=(const Deleter&) = delete;

    void start();
    void pause();
    void stop();

    std::shared_ptr<DeleterDelegate> delegate() const { return _delegate.lock(); }
    void setDelegate(const std::shared_ptr<DeleterDelegate>& delegate) { _delegate = delegate; }
    // Read when the file worker is made.
    bool isMoveToTrash() const { return _isMoveToTrash; }
    void setIsMoveToTrash(bool value) { _isMoveToTrash = value; }
    // Handed to the file worker and to the helper.
    bool isShredder() const { return _isShredder; }
    void setIsShredder(bool value) { _isShredder = value; }
    // The helper connection failed during this run; read after completion.
    bool helperActionError() const { return _helperActionError; }
    // True while the photo worker is the current one.
    bool isDeletingPhotos() const;

    DeleterState stateForTesting() const { return _state; }

private:
    friend class FileDeleterWrapper;
    friend class HelperDeleterWrapper;
    friend class PhotoDeleter;

    Deleter(std::vector<std::string> files, std::vector<Photo> photos, std::optional<std::string> photoLibraryPath,
            std::vector<std::string> scripts, bool isCleanPurgeableSpace);

    void filesFinished(const std::vector<std::string>& erroredPaths);
    void helperFinished();
    void finish();
    void itemResult(const std::string& path, bool success, int32_t error);
    void scriptLaunched();
    void cleanPurgeableSpace();
    void purgeableFinished(const std::optional<std::string>& message);
    // Slot 2 with currentCount / totalCount.
    void reportProgress();

    std::weak_ptr<DeleterDelegate> _delegate;
    bool _isMoveToTrash = false;
    bool _isShredder = false;
    std::shared_ptr<DeleterProtocol> _deleter;
    const std::vector<std::string> _files;
    const std::vector<Photo> _photos;
    const std::vector<std::string> _scripts;
    const int _totalCount;
    int _currentCount = 0;
    bool _isCleanPurgeableSpace;
    bool _isCleanningPurgeableSpace = false;
    bool _helperActionError = false;
    DeleterState _state = DeleterState::created;
    const std::optional<std::string> _photoLibraryPath;
};

}  // namespace Core
