#include "Core/helper/HelperInstaller.h"

#include "Core/helper/LinuxHelperInstaller.h"
#include "Core/helper/internal/ToolInfo.h"
#include "platform/Layout.h"

#include <mutex>

namespace Core {

namespace {

std::mutex installerLock;

std::shared_ptr<HelperInstaller>& installedInstaller() {
    static std::shared_ptr<HelperInstaller> installer = std::make_shared<LinuxHelperInstaller>();
    return installer;
}

}  // namespace

std::string HelperInstaller::installedToolPath() const {
    return platform::Layout::shared().systemPath(std::string("/Library/PrivilegedHelperTools/") + kHelperToolLabel);
}

std::optional<std::string> HelperInstaller::toolVersion(const std::string& toolPath) const {
    return internal::readToolBundleVersion(toolPath);
}

std::shared_ptr<HelperInstaller> HelperInstaller::shared() {
    std::lock_guard lock(installerLock);
    return installedInstaller();
}

void HelperInstaller::setShared(std::shared_ptr<HelperInstaller> installer) {
    std::lock_guard lock(installerLock);
    installedInstaller() = installer ? std::move(installer) : std::make_shared<LinuxHelperInstaller>();
}

}  // namespace Core
