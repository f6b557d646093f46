#pragma once
// HelperSocketConnection: the connection to the helper tool, standing in
// for the platform's inter-process connection: an exported object that
// receives the tool's calls, a remote proxy for calling the tool, and
// handlers for interruption (the tool went away) and invalidation (the
// connection is over for good). Carried by a Unix-domain socket with
// length-prefixed frames.
//
// Threading: configure it, then resume(); after that every method may be
// called from any thread. Handlers, replies and the exported object's calls
// run on the connection's own thread. An interrupted connection can't be
// used again: it goes on to invalidation. The invalidation handler runs at
// most once; removing it before invalidate() keeps it from running.
//
//   auto connection = std::make_shared<internal::HelperSocketConnection>(socketPath);
//   connection->setExportedObject(receiver);
//   auto proxy = connection->remoteObjectProxyWithErrorHandler([] { ... });
//   connection->setInvalidationHandler([] { ... });
//   connection->resume();
//   proxy->test([] { ... });

#include "Core/helper/OMHelperDelegate.h"
#include "Core/helper/OMHelperProtocol.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace Core::internal {

class HelperSocketConnection {
public:
    explicit HelperSocketConnection(std::string socketPath);
    // Invalidates without calling any handler, and waits for the
    // connection's thread unless called on it.
    ~HelperSocketConnection();
    HelperSocketConnection(const HelperSocketConnection&) = delete;
    HelperSocketConnection& operator=(const HelperSocketConnection&) = delete;

    void setExportedObject(std::shared_ptr<OMHelperDelegate> object);
    // The proxy of the tool; `errorHandler` runs when the tool can't be
    // reached, or a call can't be sent (then on the calling thread). Calls
    // made after invalidation are dropped.
    std::shared_ptr<OMHelperProtocol> remoteObjectProxyWithErrorHandler(std::function<void()> errorHandler);
    // Null removes a handler.
    void setInvalidationHandler(std::function<void()> handler);
    void setInterruptionHandler(std::function<void()> handler);
    // Connects and starts the connection's thread. Once only.
    void resume();
    // Ends the connection; pending replies are dropped and the invalidation
    // handler, if still set, runs on the connection's thread.
    void invalidate();

    struct State;

private:
    std::shared_ptr<State> _state;
    std::thread _thread;
};

}  // namespace Core::internal
