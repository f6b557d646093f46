#pragma once
// HelperConnection: the one way to privileged work. Decides whether the
// helper tool must be installed or updated, installs it, connects to it,
// and watches the connection: a tool that doesn't answer `test` within 3.0
// seconds, or one that goes away, closes the connection and calls
// errorHandler on the main queue.
//
// Threading: create, connect and close on the main thread, and set
// errorHandler there; errorHandler is called on the main queue. The tool's
// callbacks reach `delegate` on a connection thread; replies of `helper`
// come on a connection thread too. Delegates and reply callbacks must not
// wait for the main thread synchronously: closing waits for the
// connection's thread. Always owned by a shared_ptr (create()), since the
// watchdog and the handlers hold it weakly.
//
//   auto connection = Core::HelperConnection::create();
//   connection->setDelegate(myDelegate);
//   connection->setErrorHandler([] { ... });
//   if (connection->connect(true)) connection->helper()->deleteAtPaths(paths, scripts);

#include "Core/helper/OMHelperDelegate.h"
#include "Core/helper/OMHelperProtocol.h"

#include <functional>
#include <memory>
#include <mutex>

namespace platform::dispatch {
class WorkItem;
}

namespace Core {

namespace internal {
class HelperSocketConnection;
}

class HelperConnection : public std::enable_shared_from_this<HelperConnection> {
public:
    // A closed connection with no delegate and no error handler.
    static std::shared_ptr<HelperConnection> create();
    // Does what close() does.
    ~HelperConnection();
    HelperConnection(const HelperConnection&) = delete;
    HelperConnection& operator=(const HelperConnection&) = delete;

    // True when the tool isn't installed, either copy's version can't be
    // read, or the application's copy is numerically newer ("1.10" > "1.9").
    static bool isNeedInstallHelper();
    // Authorises and installs the tool through HelperInstaller::shared();
    // true when it was installed. Logs a failed authorisation and sends
    // analytics event 65 with the outcome of the install.
    static bool installPrivilegedHelperTool();

    // Opens the connection, installing the tool first when needed and
    // `required` (with `required` false a needed install gives false, with
    // no prompt). False when already connected or connecting, or when the
    // install fails. True means `helper` can be used at once; the answer to
    // `test` is awaited in the background.
    bool connect(bool required);
    // Closes without calling errorHandler; nothing when already closed.
    void close();

    // The tool's proxy; null while closed.
    std::shared_ptr<OMHelperProtocol> helper() const;
    std::shared_ptr<OMHelperDelegate> delegate() const;
    // Held weakly.
    void setDelegate(const std::shared_ptr<OMHelperDelegate>& delegate);
    void setErrorHandler(std::function<void()> handler);

private:
    HelperConnection() = default;
    // Drops the connection and the proxy, cancels the watchdog.
    void cleanUp();
    void connectionLost(const internal::HelperSocketConnection* lost);
    void answerTimedOut();

    std::shared_ptr<OMHelperProtocol> _helper;
    mutable std::mutex _delegateLock;  // the delegate is read on connection threads
    std::weak_ptr<OMHelperDelegate> _delegate;
    std::function<void()> _errorHandler;
    std::shared_ptr<internal::HelperSocketConnection> _connection;
    std::shared_ptr<platform::dispatch::WorkItem> _timeoutHandler;
};

}  // namespace Core
