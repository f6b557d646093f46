#pragma once
// ExportedObject: the object a HelperConnection exports to the tool. It
// forwards each of the tool's calls to the connection's delegate, on the
// thread where the call arrives, and does nothing once either is gone.
//
// Threading: called on connection threads.
//
//   connection->setExportedObject(std::make_shared<ExportedObject>(weakHelperConnection));

#include "Core/helper/OMHelperDelegate.h"

#include <memory>

namespace Core {

class HelperConnection;

class ExportedObject final : public OMHelperDelegate {
public:
    explicit ExportedObject(std::weak_ptr<HelperConnection> connection) : _connection(std::move(connection)) {}

    void helperDeletedAt(const std::string& path, bool success) override;
    void helperLaunchedScript() override;
    void helperDeletingAt(const std::string& path) override;
    void helperDeletionCompleted() override;

private:
    std::shared_ptr<OMHelperDelegate> target() const;

    std::weak_ptr<HelperConnection> _connection;
};

}  // namespace Core
