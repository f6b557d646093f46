#pragma once
// LaunchStatus: something that can say whether it starts by itself.
//
// Threading: as the implementing type says.
//
//   bool on = item.isAutoStartEnabled();

namespace Core {

class LaunchStatus {
public:
    virtual ~LaunchStatus() = default;
    virtual bool isAutoStartEnabled() const = 0;

protected:
    LaunchStatus() = default;
    LaunchStatus(const LaunchStatus&) = default;
    LaunchStatus& operator=(const LaunchStatus&) = default;
};

}  // namespace Core
