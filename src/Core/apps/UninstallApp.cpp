#include "Core/apps/UninstallApp.h"

#include "platform/Analytics.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"
#include "platform/ProcessRunner.h"
#include "platform/ResourceBundle.h"
#include "platform/Strings.h"

#include <sys/stat.h>

namespace Core {

namespace {

constexpr const char* kShell = "/bin/sh";
constexpr const char* kLicenseRemovalID = "com.microsoft.license.remove";

// Both filters of the wanted entries come down to the one flag.
bool takesPart(const UninstallScript& entry) { return entry.useAdminPrivileges; }

void startLicenseRemoval(const std::function<void()>& finished) {
    platform::dispatch::globalQueue()->async([finished] {
        const std::string script =
            platform::joinPath(platform::ResourceBundle::shared().folder(), "ms_license_remove.sh");
        struct stat st {};
        if (::stat(script.c_str(), &st) == 0) {
            platform::ProcessRunner::run(kShell, {script}, {.mergeStandardError = true});
        } else {
            platform::log("license removal: " + script + " is missing");
        }
        if (finished) finished();
    });
}

}  // namespace

bool runUninstallerScript(const std::string& text) {
    auto result = platform::ProcessRunner::run(kShell, {"-c", text}, {.mergeStandardError = true});
    // Output that isn't text says nothing, and so counts as success.
    if (!platform::isValidUTF8(result.output)) return true;
    return result.output.find("uninstallFailed") == std::string::npos;
}

void uninstallApp(const UninstallScriptsManager& scripts, const UninstallAppInfos& appInfos,
                  const UninstallCompletion& complete, const UninstallOptions& options) {
    const auto& table = scripts.uninstallScripts();
    std::vector<std::string> scriptStrings;
    std::vector<std::string> files;
    bool removeLicense = false;
    for (const auto& [id, appFiles] : appInfos) {
        files.insert(files.end(), appFiles.begin(), appFiles.end());
        auto entry = table.find(id);
        if (entry == table.end() || !takesPart(entry->second)) continue;
        if (!runUninstallerScript(entry->second.uninstallerScript.value_or("")))
            platform::log("uninstaller of " + id.origin() + " reported uninstallFailed");
        if (entry->second.scriptString) {
            scriptStrings.push_back(*entry->second.scriptString);
            if (platform::lowercase(id.origin()) == kLicenseRemovalID) removeLicense = true;
        }
    }
    if (removeLicense) startLicenseRemoval(options.licenseRemovalFinished);
    complete(true, scriptStrings, files);
}

void uninstallApp(const UninstallAppInfos& appInfos, const UninstallCompletion& complete) {
    uninstallApp(UninstallScriptsManager::shared(), appInfos, complete);
}

}  // namespace Core
