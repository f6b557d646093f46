#pragma once
// DeleterDelegate: what a delete run reports to the host. Slots in order:
// the item being worked on, the fraction done after each finished item, an
// item done (a message only from the purgeable step, for "/"), an item
// failed with its error number, the photo worker's question whether to try
// again (the flag is true when the photo service refused for want of
// authorization), and the end of the run, exactly once.
//
// Threading: every call arrives on the main queue. The reply of
// deleterAskPhotoRetry may be called from any thread, once.
//
//   class Host : public Core::DeleterDelegate { void deleterCompleted() override { done = true; } ... };

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Core {

class DeleterDelegate {
public:
    virtual ~DeleterDelegate() = default;
    virtual void deleterCurrent(const std::string& path) = 0;
    virtual void deleterProgress(double fraction) = 0;
    virtual void deleterDeleted(const std::string& path, const std::optional<std::string>& message) = 0;
    virtual void deleterFailed(const std::string& path, int32_t error) = 0;
    virtual void deleterAskPhotoRetry(bool flag, std::function<void(bool retry)> reply) = 0;
    virtual void deleterCompleted() = 0;
};

}  // namespace Core
