#include "Core/foundation/MacApp.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <random>

namespace Core {

namespace {

// A random (version 4) UUID in its upper-case text form.
std::string makeUUID() {
    std::array<unsigned char, 16> bytes{};
    int fd = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    bool filled = fd >= 0 && ::read(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    if (fd >= 0) ::close(fd);
    if (!filled) {
        std::random_device device;
        for (auto& b : bytes) b = static_cast<unsigned char>(device());
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    char text[37];
    std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", bytes[0],
                  bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8], bytes[9], bytes[10],
                  bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
    return text;
}

}  // namespace

std::shared_ptr<MacApp> MacApp::make(CaseInsensitiveString bundleID, std::optional<CaseInsensitiveString> organization) {
    return std::make_shared<MacApp>(std::move(bundleID), std::move(organization));
}

MacApp::MacApp(CaseInsensitiveString bundleID, std::optional<CaseInsensitiveString> organization)
    : _bundleID(std::move(bundleID)),
      _organization(std::move(organization)),
      _lockQueue(platform::dispatch::makeSerialQueue("APPListItemNode.SerialQueue." + makeUUID())) {}

MacApp::IDSet MacApp::bundleIDs() const {
    IDSet copy;
    _lockQueue->sync([&] { copy = _bundleIDs; });
    return copy;
}

void MacApp::setBundleIDs(IDSet ids) {
    _lockQueue->async([weak = weak_from_this(), ids = std::move(ids)]() mutable {
        if (auto self = weak.lock()) self->_bundleIDs = std::move(ids);
    });
}

}  // namespace Core
