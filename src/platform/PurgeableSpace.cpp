#include "platform/PurgeableSpace.h"

#include "platform/internal/Installed.h"

namespace platform {

namespace {

internal::Installed<PurgeableSpace>& installed() {
    static internal::Installed<PurgeableSpace> instance;
    return instance;
}

}  // namespace

int64_t PurgeableSpace::recoveryEstimate(const std::string&) { return -1; }

void PurgeableSpace::startRecovery(const std::string&, uint64_t, dispatch::QueuePtr queue, RecoveryCallback callback) {
    queue->async([callback = std::move(callback)] {
        if (callback) callback(false, 0, std::nullopt);
    });
}

std::shared_ptr<PurgeableSpace> PurgeableSpace::shared() { return installed().get(); }

void PurgeableSpace::setShared(std::shared_ptr<PurgeableSpace> space) { installed().set(std::move(space)); }

}  // namespace platform
