#pragma once
// uninstallApp: the vendor steps that must run before applications' files
// are removed. For every wanted application that has an entry in the
// uninstall script table and passes the filters below, its "uninstaller"
// text runs in place (/bin/sh -c, under the user's rights, blocking), and
// then its "script" text joins the scripts handed back for the privileged
// helper. The callback gets true, those scripts, and every file of
// `appInfos`; the two arrays are what the Deleter takes as its scripts and
// files.
//
// The filters decide by useAdminPrivileges alone: an entry marked "true"
// takes part, any other is passed by. Everything the Deleter hands to the
// helper runs as the superuser, and an entry not marked for it carries texts
// written for the user's own session (such as "gui/$(id -u)"), which would
// act on the superuser's instead.
//
// When a handed-over script belongs to "com.microsoft.license.remove", the
// shared license's removal script starts on the global queue and does not
// hold up the callback. The platform runs "<main bundle>/Contents/Resources/
// ms_license_remove.sh"; here the resources folder stands in for the main
// bundle's resources.
//
// Threading: synchronous on the caller's thread, for as long as the
// uninstallers run; the callback is called before the call returns.
//
//   Core::uninstallApp({{"com.example.Sync", {"/Applications/Sync.app"}}},
//                      [](bool ok, const auto& scripts, const auto& files) { deleter.start(scripts, files); });

#include "Core/apps/UninstallScriptsManager.h"
#include "Core/foundation/CaseInsensitiveString.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Core {

using UninstallAppInfos = std::map<CaseInsensitiveString, std::vector<std::string>>;
using UninstallCompletion =
    std::function<void(bool success, const std::vector<std::string>& scripts, const std::vector<std::string>& files)>;

// With the shared table.
void uninstallApp(const UninstallAppInfos& appInfos, const UninstallCompletion& complete);

struct UninstallOptions {
    // Called on the global queue once the license removal step has run.
    std::function<void()> licenseRemovalFinished;
};
// With a table of the caller's own.
void uninstallApp(const UninstallScriptsManager& scripts, const UninstallAppInfos& appInfos,
                  const UninstallCompletion& complete, const UninstallOptions& options = {});

// Runs `text` with "/bin/sh -c", standard output and error in one pipe read
// to its end. False exactly when that output holds "uninstallFailed"; a
// launch failure, any exit status and output that is not UTF-8 count as
// success.
bool runUninstallerScript(const std::string& text);

}  // namespace Core
