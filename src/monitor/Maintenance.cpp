#include "monitor/Maintenance.h"

#include "Core/helper/HelperConnection.h"
#include "platform/Dispatch.h"

#include <memory>

namespace Core {

namespace {

// Holds the connection until the first outcome arrives; later ones (an
// error after the reply, say) find it done. The pending reply and the
// error handler hold the box.
struct Box {
    std::shared_ptr<HelperConnection> connection;
    std::function<void(bool)> complete;

    void finish(bool ok) {
        if (!complete) return;
        auto done = std::move(complete);
        complete = nullptr;
        connection.reset();
        done(ok);
    }
};

void runOnHelper(void (OMHelperProtocol::*command)(std::function<void(bool)>), std::function<void(bool)> complete) {
    auto box = std::make_shared<Box>();
    box->connection = HelperConnection::create();
    box->complete = std::move(complete);
    // The box and its connection hold each other through this handler until
    // finish() lets the connection go.
    box->connection->setErrorHandler([box] { box->finish(false); });
    auto helper = box->connection->connect(true) ? box->connection->helper() : nullptr;
    if (!helper) {
        box->finish(false);
        return;
    }
    ((*helper).*command)([box](bool ok) {
        platform::dispatch::mainQueue()->async([box, ok] { box->finish(ok); });
    });
}

}  // namespace

void clearDNSCache(std::function<void(bool)> complete) {
    runOnHelper(&OMHelperProtocol::clearDNSCache, std::move(complete));
}

void reindexSpotlight(std::function<void(bool)> complete) {
    runOnHelper(&OMHelperProtocol::reindexSpotlight, std::move(complete));
}

}  // namespace Core
