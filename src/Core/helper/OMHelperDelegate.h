#pragma once
// OMHelperDelegate: what the helper tool calls back during a deletion.
// Order per run: helperDeletingAt before work on a path, helperDeletedAt
// after it, helperLaunchedScript per script, helperDeletionCompleted last and
// once, also after stopDeleting.
//
// Threading: calls arrive on a connection thread; hop to the main queue
// before touching state of the main thread.
//
//   class Wrapper : public Core::OMHelperDelegate { void helperDeletionCompleted() override { ... } ... };

#include <string>

namespace Core {

class OMHelperDelegate {
public:
    virtual ~OMHelperDelegate() = default;
    virtual void helperDeletedAt(const std::string& path, bool success) = 0;
    virtual void helperLaunchedScript() = 0;
    virtual void helperDeletingAt(const std::string& path) = 0;
    virtual void helperDeletionCompleted() = 0;
};

}  // namespace Core
