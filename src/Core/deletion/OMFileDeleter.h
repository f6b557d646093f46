#pragma once
// OMFileDeleter: deletes a list of paths with the rights of the calling
// user, last to first, on a serial queue of its own, then launches a list of
// shell scripts. It pauses between items and between the entries of a
// folder, and stops. A path goes to the trash (isMoveToTrash), through the
// shredding tool (isShredder), or through unlink and a physical walk of its
// folder (fts, links never followed: a link is removed, never its target).
// Folders named "*.app" go whole through DeleteFolder.
//
// Threading: start, pause and stop may be called from any thread; they
// change one word that the work loop reads between items and entries.
// Delegate calls come on the deleter's queue. Set the flags and the
// delegate before start. Owned by a shared_ptr (create()), since the queued
// work holds it.
//
//   auto deleter = Core::OMFileDeleter::create({"/tmp/a", "/tmp/b"}, {});
//   deleter->setDelegate(myDelegate);
//   deleter->start();   // "/tmp/b" first

#include "Core/deletion/OMFileDeleterDelegate.h"
#include "platform/Clock.h"
#include "platform/Dispatch.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Core {

class OMFileDeleter : public std::enable_shared_from_this<OMFileDeleter> {
public:
    static std::shared_ptr<OMFileDeleter> create(std::vector<std::string> paths, std::vector<std::string> scripts);
    OMFileDeleter(const OMFileDeleter&) = delete;
    OMFileDeleter& operator=(const OMFileDeleter&) = delete;

    // Idle or paused: runs (or goes on with) the work. Otherwise nothing.
    void start();
    // Running: the loop ends after the current item, or at the next entry
    // inside a folder (that path is tried again by the next start).
    void pause();
    // Not yet stopped or completed: no further item starts, and
    // fileDeleterCompleted follows.
    void stop();

    bool isShredder() const { return _isShredder; }
    void setIsShredder(bool value) { _isShredder = value; }
    bool isMoveToTrash() const { return _isMoveToTrash; }
    void setIsMoveToTrash(bool value) { _isMoveToTrash = value; }
    void setDelegate(const std::shared_ptr<OMFileDeleterDelegate>& delegate) { _delegate = delegate; }

    // Returns once every block queued so far on the deleter's queue has run.
    void waitForQueueForTesting() { _dispatchQueue->sync([] {}); }

private:
    enum State : int { idle = 0, running = 1, stopped = 2, done = 3 };
    enum Result : int { deleted = 0, failed = 1, interrupted = 2 };

    OMFileDeleter(std::vector<std::string> paths, std::vector<std::string> scripts);
    void deleteFiles();
    void completed();
    void updateCurrentPath(const std::string& path);
    Result deleteAt(const std::string& path);
    Result deleteDirectoryAt(const std::string& path);
    bool removeFile(const std::string& path);

    std::vector<std::string> _paths;    // worked off from the end, on _dispatchQueue
    std::vector<std::string> _scripts;
    platform::dispatch::QueuePtr _dispatchQueue;
    std::atomic<int> _state{idle};
    platform::Clock::TimePoint _time{};  // of the last current-path report
    bool _isShredder = false;
    bool _isMoveToTrash = false;
    std::weak_ptr<OMFileDeleterDelegate> _delegate;
};

}  // namespace Core
