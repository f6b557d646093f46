#pragma once
// HelperInstaller: how the privileged helper tool gets into the system.
// Stands in for the platform's authorization and blessing services:
// createAuthorization plays AuthorizationCreate, bless plays SMJobBless
// (install the application's copy of the tool and start it). The default
// instance is a LinuxHelperInstaller; tests install a fake with setShared.
//
// Threading: shared() and setShared() from any thread; an installer's
// methods are called from the main thread by HelperConnection.
//
//   auto installer = Core::HelperInstaller::shared();
//   auto version = installer->toolVersion(installer->installedToolPath());

#include <memory>
#include <optional>
#include <string>

namespace Core {

// The label, service name and file name of the tool.
inline constexpr const char* kHelperToolLabel = "com.oxmerl.MerlSweeper.PrivilegedHelperTool";

class HelperInstaller {
public:
    virtual ~HelperInstaller() = default;

    // Where the tool lives once installed:
    // systemPath("/Library/PrivilegedHelperTools/<label>") of the Layout.
    virtual std::string installedToolPath() const;
    // The application's own copy of the tool; nothing when there is none.
    virtual std::optional<std::string> bundledToolPath() const = 0;
    // "CFBundleVersion" of the information list that travels with the tool
    // at `toolPath`; nothing when it can't be read or isn't a string.
    virtual std::optional<std::string> toolVersion(const std::string& toolPath) const;
    // 0 on success, with `hasReference` telling whether a reference was
    // made; any other value is the failed status.
    virtual int createAuthorization(bool& hasReference) = 0;
    // Installs and starts the tool under `label`; false with a description
    // of the error.
    virtual bool bless(const std::string& label, std::string& errorDescription) = 0;

    // The installed installer; never null.
    static std::shared_ptr<HelperInstaller> shared();
    // Installs `installer` (null restores the default).
    static void setShared(std::shared_ptr<HelperInstaller> installer);
};

}  // namespace Core
