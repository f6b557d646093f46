// The install decision and the install itself: the static half of
// HelperConnection, which needs no connection.
#include "Core/helper/HelperConnection.h"

#include "Core/helper/HelperInstaller.h"
#include "Core/helper/internal/NumericCompare.h"
#include "platform/Analytics.h"

#include <unistd.h>

namespace Core {

namespace {

constexpr int kInstallEvent = 65;

bool bless(HelperInstaller& installer, const std::string& label) {
    std::string error;
    bool blessed = installer.bless(label, error);
    if (blessed)
        platform::AnalyticsSink::shared()->event(kInstallEvent, {{"status", "ok"}});
    else
        platform::AnalyticsSink::shared()->event(kInstallEvent, {{"status", "failed"}, {"error", "Bless failed: " + error}});
    return blessed;
}

}  // namespace

bool HelperConnection::isNeedInstallHelper() {
    auto installer = HelperInstaller::shared();
    std::string installed = installer->installedToolPath();
    if (::access(installed.c_str(), F_OK) != 0) return true;
    auto bundled = installer->bundledToolPath();
    auto applicationVersion = bundled ? installer->toolVersion(*bundled) : std::nullopt;
    if (!applicationVersion) return true;
    auto installedVersion = installer->toolVersion(installed);
    if (!installedVersion) return true;
    // An older tool in the application leaves a newer installed one alone.
    return internal::compareNumerically(*applicationVersion, *installedVersion) > 0;
}

bool HelperConnection::installPrivilegedHelperTool() {
    auto installer = HelperInstaller::shared();
    bool hasReference = false;
    int status = installer->createAuthorization(hasReference);
    if (status != 0) {
        platform::log("[SMJBS]: Authorization failed with status code " + std::to_string(status));
        return false;
    }
    if (!hasReference) return false;
    return bless(*installer, kHelperToolLabel);
}

}  // namespace Core
