#include "Core/helper/HelperServer.h"

#include "Core/helper/internal/ClientCheck.h"
#include "Core/helper/internal/ClockWake.h"
#include "Core/helper/internal/FramedSocket.h"
#include "platform/Analytics.h"
#include "platform/Clock.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <thread>

namespace Core {

namespace {

using K = HelperMessageKind;

// The client's OMHelperDelegate, as frames on its socket.
class RemoteDelegate final : public OMHelperDelegate {
public:
    explicit RemoteDelegate(std::shared_ptr<internal::FramedSocket> socket) : _socket(std::move(socket)) {}

    void helperDeletedAt(const std::string& path, bool success) override {
        HelperMessage message = HelperMessage::call(K::deletedAt);
        message.path = path;
        message.flag = success;
        send(message);
    }
    void helperLaunchedScript() override { send(HelperMessage::call(K::launchedScript)); }
    void helperDeletingAt(const std::string& path) override {
        HelperMessage message = HelperMessage::call(K::deletingAt);
        message.path = path;
        send(message);
    }
    void helperDeletionCompleted() override { send(HelperMessage::call(K::deletionCompleted)); }

private:
    void send(const HelperMessage& message) {
        if (!_socket->send(message)) platform::log("helper: a message to the client could not be sent");
    }

    std::shared_ptr<internal::FramedSocket> _socket;
};

// Hands one call to the service; false for a message a client may not send.
bool dispatchCall(const HelperMessage& m, HelperService& service,
                  const std::shared_ptr<internal::FramedSocket>& socket) {
    uint32_t id = m.callId;
    auto replyBool = [socket, id](bool value) {
        HelperMessage reply = HelperMessage::call(K::replyBool, id);
        reply.flag = value;
        socket->send(reply);
    };
    switch (m.kind) {
        case K::test:
            service.test([socket, id] { socket->send(HelperMessage::call(K::replyVoid, id)); });
            return true;
        case K::deleteAtPaths:
            service.deleteAtPaths(m.paths, m.scripts);
            return true;
        case K::pauseDeleting:
            service.pauseDeleting();
            return true;
        case K::resumeDeleting:
            service.resumeDeleting();
            return true;
        case K::stopDeleting:
            service.stopDeleting();
            return true;
        case K::getDirectorySize:
            service.getDirectorySizeAt(m.path, [socket, id](int64_t size) {
                HelperMessage reply = HelperMessage::call(K::replySize, id);
                reply.size = size;
                socket->send(reply);
            });
            return true;
        case K::stopGettingSize:
            service.stopGettingSize();
            return true;
        case K::shredFile:
            service.shredFile(m.path, replyBool);
            return true;
        case K::changeMode:
            service.changeMode(m.flag);
            return true;
        case K::reindexSpotlight:
            service.reindexSpotlight(replyBool);
            return true;
        case K::clearDNSCache:
            service.clearDNSCache(replyBool);
            return true;
        default:
            return false;
    }
}

// Ends a client that has sent nothing for its limit while none of its work
// runs. Waits on the platform clock on a thread of its own.
class IdleWatch {
public:
    IdleWatch(std::shared_ptr<internal::FramedSocket> socket, HelperService& service,
              std::chrono::duration<double> limit)
        : _socket(std::move(socket)),
          _service(service),
          _limit(platform::toClockDuration(limit)),
          _last(platform::clock().now()),
          _thread([this] { run(); }) {}
    // Joins the thread; the service is not looked at after this.
    ~IdleWatch() {
        {
            std::lock_guard lock(_mutex);
            _ended = true;
        }
        _changed.notify_all();
        _thread.join();
    }
    IdleWatch(const IdleWatch&) = delete;
    IdleWatch& operator=(const IdleWatch&) = delete;

    void touch() {
        std::lock_guard lock(_mutex);
        _last = platform::clock().now();
    }

private:
    void run() {
        internal::ClockWake wake(_mutex, _changed);  // goes after the lock below
        std::unique_lock lock(_mutex);
        auto& clock = platform::clock();
        while (!_ended) {
            platform::Clock::TimePoint now = clock.now();
            if (now - _last < _limit) {
                clock.waitUntil(lock, _changed, _last + _limit);
                continue;
            }
            // Work under way counts as activity: its results are still to come.
            if (_service.busy()) {
                _last = now;
                continue;
            }
            _ended = true;
            lock.unlock();
            platform::log("helper: closed an idle client");
            _socket->shutdown();
            return;
        }
    }

    std::shared_ptr<internal::FramedSocket> _socket;
    HelperService& _service;
    const platform::Clock::Duration _limit;
    std::mutex _mutex;
    std::condition_variable _changed;
    platform::Clock::TimePoint _last;
    bool _ended = false;
    std::thread _thread;  // last: it starts once the rest is set
};

}  // namespace

HelperServer::HelperServer(HelperServerOptions options) : _options(std::move(options)) {}

HelperServer::~HelperServer() {
    stop();
    if (_listenFd >= 0) ::close(_listenFd);
}

bool HelperServer::listen(std::string& error) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& path = _options.socketPath;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        error = "socket path is empty or too long: " + path;
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    // A socket file left by an earlier run would make bind fail.
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) ::unlink(path.c_str());
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || ::listen(fd, 4) != 0) {
        error = "cannot listen on " + path + ": " + std::strerror(errno);
        ::close(fd);
        return false;
    }
    // Anyone may knock; the peer credentials decide who is served.
    ::chmod(path.c_str(), 0666);
    _listenFd = fd;
    return true;
}

void HelperServer::serve() {
    while (_listenFd >= 0 && !_stopping.load()) {
        int fd = ::accept4(_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            break;
        }
        ucred peer{};
        socklen_t length = sizeof peer;
        if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || !isAllowed(peer.uid, peer.pid)) {
            platform::log("helper: refused a client with uid " + std::to_string(peer.uid) + ", process " +
                          std::to_string(peer.pid));
            ::close(fd);
            continue;
        }
        serveClient(fd);
    }
}

bool HelperServer::isAllowed(uid_t uid, pid_t pid) const {
    if (uid == 0) return true;
    // The named files are looked at anew for each client: an update of a
    // host replaces its file, and with it the inode to compare.
    return uid == _options.allowedUid &&
           internal::runsOneOf(pid, internal::trustedExecutables(_options.authorizedClients));
}

void HelperServer::serveClient(int fd) {
    auto socket = std::make_shared<internal::FramedSocket>(fd);
    {
        std::lock_guard lock(_clientLock);
        if (_stopping.load()) return;
        _client = socket;
    }
    {
        HelperService service(std::make_shared<RemoteDelegate>(socket), _options.service);
        auto idle = std::make_unique<IdleWatch>(socket, service, _options.idleTimeout);
        bool refused = false;
        auto end = socket->readMessages([&](HelperMessage message) {
            if (refused) return;  // frames that were already read
            idle->touch();
            // A failing call ends its client, never the tool and its other clients.
            try {
                if (_options.beforeDispatchForTesting) _options.beforeDispatchForTesting(message);
                refused = !dispatchCall(message, service, socket);
            } catch (const std::exception& error) {
                platform::log(std::string("helper: closed a client whose call failed: ") + error.what());
                refused = true;
            }
            if (refused) socket->shutdown();
        });
        if (end == internal::FramedSocket::End::malformed) platform::log("helper: closed a client that sent a malformed frame");
        idle.reset();
        socket->shutdown();
    }
    std::lock_guard lock(_clientLock);
    _client.reset();
}

void HelperServer::stop() {
    _stopping.store(true);
    if (_listenFd >= 0) ::shutdown(_listenFd, SHUT_RDWR);
    std::lock_guard lock(_clientLock);
    if (_client) _client->shutdown();
}

}  // namespace Core
