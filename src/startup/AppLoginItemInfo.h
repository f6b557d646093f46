#pragma once
// AppLoginItemInfo: what a login item of an application is made of: the
// application, and the login item bundle inside it ("Contents/Library/
// LoginItems/<x>.app"). An application that opens at login by itself, from
// the session's login items list, has no login item bundle.
//
// Threading: a plain value.
//
//   Core::AppLoginItemInfo info{*app, *helper};

#include "startup/StartupBundle.h"

#include <optional>

namespace Core {

struct AppLoginItemInfo {
    StartupBundle appBundle;
    std::optional<StartupBundle> loginItemBundle;

    friend bool operator==(const AppLoginItemInfo&, const AppLoginItemInfo&) = default;
};

}  // namespace Core
