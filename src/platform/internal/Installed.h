#pragma once
// The one installed instance of a platform service: the default until a host
// or a test installs another; installing null restores the default.

#include <memory>
#include <mutex>

namespace platform::internal {

template <class Service, class Default = Service>
class Installed {
public:
    std::shared_ptr<Service> get() {
        std::lock_guard lock(_mutex);
        if (!_service) _service = std::make_shared<Default>();
        return _service;
    }
    void set(std::shared_ptr<Service> service) {
        std::lock_guard lock(_mutex);
        _service = std::move(service);
    }

private:
    std::mutex _mutex;
    std::shared_ptr<Service> _service;
};

}  // namespace platform::internal
