#pragma once
// OMFileDeleterDelegate: what an OMFileDeleter reports. fileDeleterDeleted
// comes once per top-level path that was finished (0 on success, else the
// errno read right after the failure); fileDeleterCompleted comes once, last.
//
// Threading: every call arrives on the deleter's own serial queue; hop to
// another queue before touching its state.
//
//   class Wrapper : public Core::OMFileDeleterDelegate { void fileDeleterCompleted() override { ... } ... };

#include <string>

namespace Core {

class OMFileDeleterDelegate {
public:
    virtual ~OMFileDeleterDelegate() = default;
    // At most every 0.03 seconds: the path being worked on.
    virtual void fileDeleterCurrent(const std::string& path) = 0;
    virtual void fileDeleterDeleted(const std::string& path, int error) = 0;
    // After each script was launched.
    virtual void scriptDeleted() = 0;
    virtual void fileDeleterCompleted() = 0;
};

}  // namespace Core
