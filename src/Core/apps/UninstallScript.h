#pragma once
// UninstallScript: one entry of the uninstall script table: the steps an
// application's vendor wants run before its files are removed. The
// "uninstaller" text runs in place under the user's rights; the "script"
// text goes to the privileged helper with the files.
//
// A plain value.

#include "Core/foundation/CaseInsensitiveString.h"

#include <optional>
#include <string>

namespace Core {

struct UninstallScript {
    // Absent until the "app" element's "id" attribute is read.
    std::optional<CaseInsensitiveString> id;
    bool useAdminPrivileges = false;
    std::optional<std::string> uninstallerScript;
    std::optional<std::string> scriptString;
};

}  // namespace Core
