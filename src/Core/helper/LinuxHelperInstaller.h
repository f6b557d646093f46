#pragma once
// LinuxHelperInstaller: installs the helper tool by copying the
// application's copy (by default "core-helper" beside the running program or
// in "../libexec" from it) to the Layout's installed path, stopping the tool
// that ran before (named in "<socket>.pid"), and starting the new one on the
// Layout's helper socket for the calling user, under the Layout's root, in a
// session of its own with its output to /dev/null; it serves until it is
// ended. Installing needs write access to the installed path, which is
// root's outside a test tree.
//
// Threading: like HelperInstaller.
//
//   auto installer = std::make_shared<Core::LinuxHelperInstaller>();
//   installer->setBundledToolPath("/opt/app/libexec/core-helper");
//   Core::HelperInstaller::setShared(installer);

#include "Core/helper/HelperInstaller.h"

#include <mutex>

namespace Core {

class LinuxHelperInstaller : public HelperInstaller {
public:
    std::optional<std::string> bundledToolPath() const override;
    // Always 0 with a reference: the rights are checked when installing.
    int createAuthorization(bool& hasReference) override;
    bool bless(const std::string& label, std::string& errorDescription) override;

    // Overrides where the application's copy of the tool is found.
    void setBundledToolPath(const std::string& path);

private:
    mutable std::mutex _mutex;
    std::string _bundledToolPath;
};

}  // namespace Core
