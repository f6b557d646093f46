#include "Core/helper/internal/HelperSocketConnection.h"

#include "Core/helper/internal/FramedSocket.h"

#include <map>
#include <mutex>

namespace Core::internal {

using K = HelperMessageKind;

struct HelperSocketConnection::State {
    std::string socketPath;
    std::mutex lock;
    std::shared_ptr<FramedSocket> socket;  // present once connected
    std::shared_ptr<OMHelperDelegate> exported;
    std::function<void()> invalidationHandler;
    std::function<void()> interruptionHandler;
    std::vector<std::function<void()>> proxyErrorHandlers;
    bool resumed = false;
    bool invalidated = false;
    uint32_t nextCallId = 1;
    // Reply callbacks by call id; each knows the kind of reply it takes.
    std::map<uint32_t, std::function<void(const HelperMessage&)>> pending;

    // Sends a call, registering `reply` under a fresh call id first. A call
    // that can't be sent (a frame too large, a peer gone) gets no reply and
    // runs the proxies' error handlers, on the calling thread.
    void call(HelperMessage message, std::function<void(const HelperMessage&)> reply) {
        std::shared_ptr<FramedSocket> target;
        {
            std::lock_guard guard(lock);
            if (invalidated || !socket) return;
            if (reply) {
                message.callId = nextCallId++;
                pending.emplace(message.callId, std::move(reply));
            }
            target = socket;
        }
        if (target->send(message)) return;
        std::vector<std::function<void()>> handlers;
        {
            std::lock_guard guard(lock);
            pending.erase(message.callId);
            handlers = proxyErrorHandlers;
        }
        for (auto& handler : handlers)
            if (handler) handler();
    }

    void deliver(const HelperMessage& message) {
        if (message.kind == K::replyVoid || message.kind == K::replySize || message.kind == K::replyBool) {
            std::function<void(const HelperMessage&)> reply;
            {
                std::lock_guard guard(lock);
                auto found = pending.find(message.callId);
                if (found == pending.end()) return;
                reply = std::move(found->second);
                pending.erase(found);
            }
            reply(message);
            return;
        }
        std::shared_ptr<OMHelperDelegate> receiver;
        {
            std::lock_guard guard(lock);
            receiver = exported;
        }
        if (!receiver) return;
        switch (message.kind) {
            case K::deletedAt: receiver->helperDeletedAt(message.path, message.flag); break;
            case K::launchedScript: receiver->helperLaunchedScript(); break;
            case K::deletingAt: receiver->helperDeletingAt(message.path); break;
            case K::deletionCompleted: receiver->helperDeletionCompleted(); break;
            default: break;
        }
    }

    // Marks the connection over; true for the first caller.
    bool markInvalidated() {
        std::shared_ptr<FramedSocket> target;
        {
            std::lock_guard guard(lock);
            if (invalidated) return false;
            invalidated = true;
            pending.clear();
            target = socket;
        }
        if (target) target->shutdown();
        return true;
    }

    std::function<void()> take(std::function<void()>& handler) {
        std::lock_guard guard(lock);
        return std::move(handler);
    }
};

namespace {

// The tool's interface as calls on the connection.
class RemoteProxy final : public OMHelperProtocol {
public:
    explicit RemoteProxy(std::shared_ptr<HelperSocketConnection::State> state) : _state(std::move(state)) {}

    void test(std::function<void()> reply) override {
        _state->call(HelperMessage::call(K::test), [reply](const HelperMessage&) {
            if (reply) reply();
        });
    }
    void deleteAtPaths(const std::vector<std::string>& paths, const std::vector<std::string>& scripts) override {
        HelperMessage message = HelperMessage::call(K::deleteAtPaths);
        message.paths = paths;
        message.scripts = scripts;
        _state->call(std::move(message), nullptr);
    }
    void pauseDeleting() override { _state->call(HelperMessage::call(K::pauseDeleting), nullptr); }
    void resumeDeleting() override { _state->call(HelperMessage::call(K::resumeDeleting), nullptr); }
    void stopDeleting() override { _state->call(HelperMessage::call(K::stopDeleting), nullptr); }
    void getDirectorySizeAt(const std::string& path, std::function<void(int64_t)> with) override {
        HelperMessage message = HelperMessage::call(K::getDirectorySize);
        message.path = path;
        _state->call(std::move(message), [with](const HelperMessage& reply) {
            if (with && reply.kind == K::replySize) with(reply.size);
        });
    }
    void stopGettingSize() override { _state->call(HelperMessage::call(K::stopGettingSize), nullptr); }
    void shredFile(const std::string& path, std::function<void(bool)> with) override {
        HelperMessage message = HelperMessage::call(K::shredFile);
        message.path = path;
        _state->call(std::move(message), boolReply(std::move(with)));
    }
    void changeMode(bool shred) override {
        HelperMessage message = HelperMessage::call(K::changeMode);
        message.flag = shred;
        _state->call(std::move(message), nullptr);
    }
    void reindexSpotlight(std::function<void(bool)> reply) override {
        _state->call(HelperMessage::call(K::reindexSpotlight), boolReply(std::move(reply)));
    }
    void clearDNSCache(std::function<void(bool)> reply) override {
        _state->call(HelperMessage::call(K::clearDNSCache), boolReply(std::move(reply)));
    }

private:
    static std::function<void(const HelperMessage&)> boolReply(std::function<void(bool)> with) {
        return [with = std::move(with)](const HelperMessage& reply) {
            if (with && reply.kind == K::replyBool) with(reply.flag);
        };
    }

    std::shared_ptr<HelperSocketConnection::State> _state;
};

// The connection's thread: reads until the end, then runs the handlers in
// the platform's order: proxy errors or interruption, then invalidation.
void runConnection(const std::shared_ptr<HelperSocketConnection::State>& state, bool connected) {
    if (connected) {
        std::shared_ptr<FramedSocket> socket;
        {
            std::lock_guard guard(state->lock);
            socket = state->socket;
        }
        socket->readMessages([&state](HelperMessage message) { state->deliver(message); });
    }
    bool endedByPeer;
    {
        std::lock_guard guard(state->lock);
        endedByPeer = !state->invalidated;
    }
    if (endedByPeer) {
        if (!connected) {
            std::vector<std::function<void()>> handlers;
            {
                std::lock_guard guard(state->lock);
                handlers = state->proxyErrorHandlers;
            }
            for (auto& handler : handlers)
                if (handler) handler();
        } else if (auto interrupted = state->take(state->interruptionHandler)) {
            interrupted();
        }
    }
    state->markInvalidated();
    if (auto invalidated = state->take(state->invalidationHandler)) invalidated();
}

}  // namespace

HelperSocketConnection::HelperSocketConnection(std::string socketPath) : _state(std::make_shared<State>()) {
    _state->socketPath = std::move(socketPath);
}

HelperSocketConnection::~HelperSocketConnection() {
    {
        std::lock_guard guard(_state->lock);
        _state->invalidationHandler = nullptr;
        _state->interruptionHandler = nullptr;
        _state->proxyErrorHandlers.clear();
        _state->exported.reset();
    }
    _state->markInvalidated();
    if (!_thread.joinable()) return;
    if (_thread.get_id() == std::this_thread::get_id())
        _thread.detach();  // the thread holds the state it needs and ends on its own
    else
        _thread.join();
}

void HelperSocketConnection::setExportedObject(std::shared_ptr<OMHelperDelegate> object) {
    std::lock_guard guard(_state->lock);
    _state->exported = std::move(object);
}

std::shared_ptr<OMHelperProtocol> HelperSocketConnection::remoteObjectProxyWithErrorHandler(
    std::function<void()> errorHandler) {
    {
        std::lock_guard guard(_state->lock);
        _state->proxyErrorHandlers.push_back(std::move(errorHandler));
    }
    return std::make_shared<RemoteProxy>(_state);
}

void HelperSocketConnection::setInvalidationHandler(std::function<void()> handler) {
    std::lock_guard guard(_state->lock);
    _state->invalidationHandler = std::move(handler);
}

void HelperSocketConnection::setInterruptionHandler(std::function<void()> handler) {
    std::lock_guard guard(_state->lock);
    _state->interruptionHandler = std::move(handler);
}

void HelperSocketConnection::resume() {
    {
        std::lock_guard guard(_state->lock);
        if (_state->resumed || _state->invalidated) return;
        _state->resumed = true;
    }
    int fd = FramedSocket::connectTo(_state->socketPath);
    if (fd >= 0) {
        std::lock_guard guard(_state->lock);
        _state->socket = std::make_shared<FramedSocket>(fd);
    }
    _thread = std::thread([state = _state, connected = fd >= 0] { runConnection(state, connected); });
}

void HelperSocketConnection::invalidate() {
    bool hasThread;
    {
        std::lock_guard guard(_state->lock);
        hasThread = _state->resumed;
    }
    if (!_state->markInvalidated()) return;
    // Without a thread nobody else would run the handler.
    if (!hasThread)
        if (auto invalidated = _state->take(_state->invalidationHandler)) invalidated();
}

}  // namespace Core::internal
