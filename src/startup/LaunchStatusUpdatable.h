#pragma once
// LaunchStatusUpdatable: something whose starting by itself can be switched.
//
// Threading: as the implementing type says.
//
//   bool changed = item.setAutoStartEnabled(false);

namespace Core {

class LaunchStatusUpdatable {
public:
    virtual ~LaunchStatusUpdatable() = default;
    // True when something was changed.
    virtual bool setAutoStartEnabled(bool enabled) const = 0;

protected:
    LaunchStatusUpdatable() = default;
    LaunchStatusUpdatable(const LaunchStatusUpdatable&) = default;
    LaunchStatusUpdatable& operator=(const LaunchStatusUpdatable&) = default;
};

}  // namespace Core
