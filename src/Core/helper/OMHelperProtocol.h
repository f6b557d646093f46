#pragma once
// OMHelperProtocol: what the privileged helper tool offers. Every method is
// asynchronous; a result comes through the reply callback, on a connection
// thread, and never comes at all if the connection is lost first (the
// connection's error handler says so instead).
//
// Threading: an implementation may be called from any thread.
//
//   connection->helper()->getDirectorySizeAt("/var/db", [](int64_t size) { ... });

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Core {

class OMHelperProtocol {
public:
    virtual ~OMHelperProtocol() = default;

    // Proves that the tool answers.
    virtual void test(std::function<void()> reply) = 0;
    // Deletes the paths, then runs the shell scripts; progress comes back
    // through OMHelperDelegate, helperDeletionCompleted last.
    virtual void deleteAtPaths(const std::vector<std::string>& paths, const std::vector<std::string>& withScripts) = 0;
    virtual void pauseDeleting() = 0;
    virtual void resumeDeleting() = 0;
    virtual void stopDeleting() = 0;
    // The size of the regular files below `path` (what was summed so far
    // when stopped).
    virtual void getDirectorySizeAt(const std::string& path, std::function<void(int64_t size)> with) = 0;
    virtual void stopGettingSize() = 0;
    // Overwrites and removes one file or folder; true when it is gone.
    virtual void shredFile(const std::string& path, std::function<void(bool success)> with) = 0;
    // true selects shredding for the following deletion.
    virtual void changeMode(bool shred) = 0;
    virtual void reindexSpotlight(std::function<void(bool success)> reply) = 0;
    virtual void clearDNSCache(std::function<void(bool success)> reply) = 0;
};

}  // namespace Core
