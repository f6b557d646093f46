#pragma once
// HelperServer: the helper tool's listening end. It binds a Unix-domain
// socket, accepts one client at a time, lets in root, and a process of the
// user it was started for only when that process runs one of the authorised
// host executables (both checked from the socket's peer credentials on every
// connection), and serves the wire interface through a HelperService until
// the client goes, sends a malformed frame, or stays idle: nothing received
// for idleTimeout by the platform clock while none of its work runs.
//
// Threading: serve() runs on one thread; stop() may be called from any
// other thread (not from a signal handler).
//
//   Core::HelperServer server({.socketPath = "/run/helper.socket", .allowedUid = 1000});
//   std::string error;
//   if (!server.listen(error)) fail(error);
//   server.serve();

#include "Core/helper/HelperMessage.h"
#include "Core/helper/HelperService.h"

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Core {

namespace internal {
class FramedSocket;
}

struct HelperServerOptions {
    std::string socketPath;
    uid_t allowedUid = 0;  // besides root
    // Absolute paths of the host executables that processes of allowedUid
    // must run; empty lets in root alone.
    std::vector<std::string> authorizedClients;
    HelperServiceOptions service;
    std::chrono::duration<double> idleTimeout = std::chrono::minutes(10);
    // Called with each message before it is handled; what it throws is
    // handled like any failure of a call.
    std::function<void(const HelperMessage&)> beforeDispatchForTesting;
};

class HelperServer {
public:
    explicit HelperServer(HelperServerOptions options);
    ~HelperServer();
    HelperServer(const HelperServer&) = delete;
    HelperServer& operator=(const HelperServer&) = delete;

    // Replaces a stale socket file and listens; false with the reason.
    bool listen(std::string& error);
    // Serves clients one after another until stop(). Returns at once
    // without a successful listen().
    void serve();
    // Ends serve(), closing the current client's connection.
    void stop();

    // True when the peer process `pid` of `uid` may use the tool.
    bool isAllowed(uid_t uid, pid_t pid) const;

private:
    void serveClient(int fd);

    HelperServerOptions _options;
    int _listenFd = -1;
    std::atomic<bool> _stopping{false};
    std::mutex _clientLock;
    std::shared_ptr<internal::FramedSocket> _client;
};

}  // namespace Core
