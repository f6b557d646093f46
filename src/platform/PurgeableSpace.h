#pragma once
// PurgeableSpace: the system's purgeable space (space held by caches and
// snapshots that the system can give back on demand), standing in for its
// recovery estimate and recovery calls. Linux keeps no such space: the
// default has no estimate (-1) and its recovery ends at once, with nothing
// recovered and no error. Tests and hosts install their own with setShared().
//
// Threading: any thread. The recovery's callback comes on the queue given.
//
//   auto space = platform::PurgeableSpace::shared();
//   int64_t bytes = space->recoveryEstimate("/");
//   if (bytes >= 0) space->startRecovery("/", free + bytes, mainQueue(), [](bool, uint64_t, auto error) { ... });

#include "platform/Dispatch.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

class PurgeableSpace {
public:
    // The flag and amount are the system's own and unused by the library;
    // the error is the recovery's error text, absent when it went well.
    using RecoveryCallback = std::function<void(bool flag, uint64_t amount, std::optional<std::string> error)>;

    virtual ~PurgeableSpace() = default;
    // Bytes the volume of `volumePath` could give back; negative when there
    // is no estimate (the system's call is signed the same way).
    virtual int64_t recoveryEstimate(const std::string& volumePath);
    // Frees purgeable space on the volume of `volumePath` until
    // `wantedFreeBytes` are free or nothing more can be freed, then calls
    // `callback` once on `queue`.
    virtual void startRecovery(const std::string& volumePath, uint64_t wantedFreeBytes, dispatch::QueuePtr queue,
                               RecoveryCallback callback);

    // The installed instance; never null.
    static std::shared_ptr<PurgeableSpace> shared();
    // Installs `space` (null restores the default).
    static void setShared(std::shared_ptr<PurgeableSpace> space);
};

}  // namespace platform
