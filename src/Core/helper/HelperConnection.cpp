#include "Core/helper/HelperConnection.h"

#include "Core/helper/ExportedObject.h"
#include "Core/helper/internal/HelperSocketConnection.h"
#include "platform/Analytics.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"

namespace Core {

namespace {

constexpr double kAnswerTimeout = 3.0;
constexpr int kConnectionEvent = 111;

}  // namespace

std::shared_ptr<HelperConnection> HelperConnection::create() {
    return std::shared_ptr<HelperConnection>(new HelperConnection());
}

HelperConnection::~HelperConnection() { close(); }

bool HelperConnection::connect(bool required) {
    if (_connection) return false;
    if (isNeedInstallHelper() && (!required || !installPrivilegedHelperTool())) return false;

    auto connection = std::make_shared<internal::HelperSocketConnection>(platform::Layout::shared().helperSocketPath());
    _connection = connection;
    std::weak_ptr<HelperConnection> weakSelf = weak_from_this();
    std::weak_ptr<internal::HelperSocketConnection> weakConnection = connection;
    auto invalidateConnection = [weakConnection] {
        if (auto target = weakConnection.lock()) target->invalidate();
    };
    connection->setExportedObject(std::make_shared<ExportedObject>(weakSelf));
    _helper = connection->remoteObjectProxyWithErrorHandler(invalidateConnection);
    const internal::HelperSocketConnection* identity = connection.get();
    connection->setInvalidationHandler([weakSelf, identity] {
        platform::AnalyticsSink::shared()->event(kConnectionEvent, {{"info", "helper exit or crashed"}});
        platform::dispatch::mainQueue()->async([weakSelf, identity] {
            if (auto self = weakSelf.lock()) self->connectionLost(identity);
        });
    });
    connection->setInterruptionHandler(invalidateConnection);
    connection->resume();

    _timeoutHandler = std::make_shared<platform::dispatch::WorkItem>([weakSelf] {
        if (auto self = weakSelf.lock()) self->answerTimedOut();
    });
    platform::dispatch::mainQueue()->asyncAfter(std::chrono::duration<double>(kAnswerTimeout), _timeoutHandler);
    std::weak_ptr<platform::dispatch::WorkItem> watchdog = _timeoutHandler;
    _helper->test([watchdog] {
        if (auto item = watchdog.lock()) item->cancel();
    });
    return true;
}

void HelperConnection::connectionLost(const internal::HelperSocketConnection* lost) {
    // A connection closed (and maybe replaced) since it was lost is no
    // longer this object's business.
    if (_connection.get() != lost) return;
    if (_errorHandler) _errorHandler();
    cleanUp();
}

void HelperConnection::answerTimedOut() {
    platform::AnalyticsSink::shared()->event(kConnectionEvent, {{"info", "helper not responding"}});
    if (_connection) {
        _connection->setInvalidationHandler(nullptr);
        _connection->invalidate();
    }
    cleanUp();
    if (_errorHandler) _errorHandler();
}

void HelperConnection::close() {
    if (_connection) {
        _connection->setInvalidationHandler(nullptr);
        _connection->invalidate();
    }
    cleanUp();
}

void HelperConnection::cleanUp() {
    _connection.reset();
    _helper.reset();
    if (_timeoutHandler) {
        _timeoutHandler->cancel();
        _timeoutHandler.reset();
    }
}

std::shared_ptr<OMHelperProtocol> HelperConnection::helper() const { return _helper; }

std::shared_ptr<OMHelperDelegate> HelperConnection::delegate() const {
    std::lock_guard lock(_delegateLock);
    return _delegate.lock();
}

void HelperConnection::setDelegate(const std::shared_ptr<OMHelperDelegate>& delegate) {
    std::lock_guard lock(_delegateLock);
    _delegate = delegate;
}

void HelperConnection::setErrorHandler(std::function<void()> handler) { _errorHandler = std::move(handler); }

}  // namespace Core
