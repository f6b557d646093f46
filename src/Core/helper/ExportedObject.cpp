#include "Core/helper/ExportedObject.h"

#include "Core/helper/HelperConnection.h"

namespace Core {

std::shared_ptr<OMHelperDelegate> ExportedObject::target() const {
    auto connection = _connection.lock();
    return connection ? connection->delegate() : nullptr;
}

void ExportedObject::helperDeletedAt(const std::string& path, bool success) {
    if (auto delegate = target()) delegate->helperDeletedAt(path, success);
}

void ExportedObject::helperLaunchedScript() {
    if (auto delegate = target()) delegate->helperLaunchedScript();
}

void ExportedObject::helperDeletingAt(const std::string& path) {
    if (auto delegate = target()) delegate->helperDeletingAt(path);
}

void ExportedObject::helperDeletionCompleted() {
    if (auto delegate = target()) delegate->helperDeletionCompleted();
}

}  // namespace Core
