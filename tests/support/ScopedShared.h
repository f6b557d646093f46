#pragma once
// Installs a test double as the shared instance of a service interface (one
// with a static setShared) for the life of the scope, and the default again
// on exit.
//
//   testing_support::ScopedShared<platform::PhotoService, FakePhotoService> photos;
//   photos.service->known = {"P1"};

#include <memory>
#include <utility>

namespace testing_support {

template <class Interface, class Double = Interface>
class ScopedShared {
public:
    ScopedShared() : ScopedShared(std::make_shared<Double>()) {}
    explicit ScopedShared(std::shared_ptr<Double> installed) : service(std::move(installed)) {
        Interface::setShared(service);
    }
    ~ScopedShared() { Interface::setShared(nullptr); }
    ScopedShared(const ScopedShared&) = delete;
    ScopedShared& operator=(const ScopedShared&) = delete;

    std::shared_ptr<Double> service;
};

}  // namespace testing_support
