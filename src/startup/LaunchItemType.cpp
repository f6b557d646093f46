#include "startup/LaunchItemType.h"

namespace Core {

std::string_view LaunchItemType::name() const {
    switch (_kind) {
        case Kind::appLoginItem: return "appLoginItem";
        case Kind::userAgent: return "userAgent";
        case Kind::globalAgent: return "globalAgent";
        case Kind::globalDaemon: return "globalDaemon";
    }
    return "";
}

}  // namespace Core
