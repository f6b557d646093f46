#pragma once
// HelperService: the work behind the helper tool's wire interface, for one
// connected client. Deletions run one after another on a thread of their
// own, with pause, resume and stop between entries; sizes, shredding and the
// maintenance commands each run on a thread of their own and reply when
// done. Callbacks go to the client's OMHelperDelegate.
//
// Paths must be absolute, not "/", without "." or ".." parts, and not a
// protected folder; scripts must
// be in the scripts document (a refused one is logged and not launched).
// Scripts and maintenance commands run as ChildProcesses with a time limit;
// stopDeleting ends a running script's process group.
//
// Threading: the OMHelperProtocol methods may be called from any thread;
// shutdown (or the destructor) stops the work, ends every child process and
// joins every thread.
//
//   Core::HelperService service(clientDelegate, {});
//   service.deleteAtPaths({"/tmp/a"}, {});
//   service.shutdown();

#include "Core/helper/OMHelperDelegate.h"
#include "Core/helper/OMHelperProtocol.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace Core {

namespace internal {
class ChildProcess;
}

struct HelperServiceOptions {
    // Shell command lines of the two maintenance jobs; empty answers false.
    // Set by the tool itself, never by a client.
    std::string reindexSpotlightCommand;
    std::string clearDNSCacheCommand;
    // The enciphered uninstall scripts document. A client's script runs only
    // when its text is one of the document's scripts, and the document
    // counts only when root owns it and nobody else may write it: otherwise
    // any client could have any text run as root.
    std::string scriptsDocument;
    // Folders that are never deleted or shredded themselves (the users'
    // home folders), recognised by device and inode whatever the spelling.
    std::vector<std::string> protectedFolders;
    // How long a script or maintenance command may run before its whole
    // process group is ended.
    std::chrono::duration<double> childTimeLimit = std::chrono::minutes(10);
    // What one client may ask for at once. A deletion with more paths or
    // scripts, or beyond the queued ones, is refused whole (completed at
    // once, nothing deleted); a size, shred or maintenance call beyond the
    // running tasks answers as a failure.
    size_t maxQueuedDeletions = 64;
    size_t maxEntriesPerDeletion = 100000;
    size_t maxTasks = 8;
};

class HelperService final : public OMHelperProtocol {
public:
    HelperService(std::shared_ptr<OMHelperDelegate> client, HelperServiceOptions options);
    ~HelperService() override;
    HelperService(const HelperService&) = delete;
    HelperService& operator=(const HelperService&) = delete;

    // Stops the running and queued deletions and sizes (a running deletion
    // still sends its helperDeletionCompleted), then joins every thread.
    void shutdown();
    // True while a deletion is queued or running or a task runs.
    bool busy();

    void test(std::function<void()> reply) override;
    void deleteAtPaths(const std::vector<std::string>& paths, const std::vector<std::string>& withScripts) override;
    void pauseDeleting() override;
    void resumeDeleting() override;
    void stopDeleting() override;
    void getDirectorySizeAt(const std::string& path, std::function<void(int64_t size)> with) override;
    void stopGettingSize() override;
    void shredFile(const std::string& path, std::function<void(bool success)> with) override;
    void changeMode(bool shred) override;
    void reindexSpotlight(std::function<void(bool success)> reply) override;
    void clearDNSCache(std::function<void(bool success)> reply) override;

private:
    struct DeletionJob {
        uint64_t sequence;
        std::vector<std::string> paths;
        std::vector<std::string> scripts;
        bool shred;
    };

    void deletionLoop();
    void runDeletion(const DeletionJob& job);
    // Waits while paused; false when the job was stopped.
    bool mayProceed(uint64_t sequence);
    // Runs `work` on a thread of its own; false, with nothing run, beyond
    // the running tasks allowed or after shutdown.
    bool startTask(std::function<void()> work);
    void runMaintenance(const std::string& command, std::function<void(bool success)> reply);
    // Runs `commandLine` with /bin/sh; `sequence` is the deletion job it
    // belongs to (0 for maintenance, which only shutdown ends).
    // True when `path` itself is one of the protected folders.
    bool isProtected(const std::string& path) const;
    bool runChild(const std::string& commandLine, uint64_t sequence, const std::function<void()>& launched);

    std::shared_ptr<OMHelperDelegate> _client;
    HelperServiceOptions _options;

    std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<DeletionJob> _jobs;
    uint64_t _lastSequence = 0;
    uint64_t _stoppedThrough = 0;  // jobs up to this sequence are stopped
    bool _paused = false;
    bool _shuttingDown = false;
    bool _shredMode = false;
    std::thread _deletionThread;
    std::vector<std::thread> _tasks;
    size_t _runningTasks = 0;
    std::set<std::thread::id> _endedTasks;  // of _tasks, to be joined
    bool _deleting = false;
    std::set<std::shared_ptr<std::atomic<bool>>> _sizeStops;
    std::set<std::pair<uint64_t, std::shared_ptr<internal::ChildProcess>>> _children;
};

}  // namespace Core
