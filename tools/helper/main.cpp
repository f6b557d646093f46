// core-helper: the privileged helper tool. Installed and started by the
// application's installer; serves the helper wire interface on a
// Unix-domain socket for root, and for the one user it was started for when
// that user's process runs a host named in SMAuthorizedClients below.
//
//   core-helper --socket PATH [--allow-uid UID] [--ready-fd FD] [--pid-file PATH]
//               [--root DIR] [--dns-command LINE] [--reindex-command LINE]
#include "AuthorizedClients.h"
#include "Core/helper/HelperTool.h"
#include "platform/Layout.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

// The tool's information list, read by the installer to compare versions.
// Raise CFBundleVersion with every change the application relies on.
__attribute__((used, section(".info_plist"))) static const char kInfoPlist[] =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>CFBundleIdentifier</key>
	<string>com.oxmerl.MerlSweeper.PrivilegedHelperTool</string>
	<key>CFBundleName</key>
	<string>com.oxmerl.MerlSweeper.PrivilegedHelperTool</string>
	<key>CFBundleVersion</key>
	<string>1.1.0</string>
	<key>SMAuthorizedClients</key>
	<array>)" CORE_HELPER_AUTHORIZED_CLIENTS_XML R"(</array>
</dict>
</plist>
)";

namespace {

int usage() {
    std::fprintf(stderr,
                 "usage: core-helper [--socket PATH] [--allow-uid UID] [--ready-fd FD] [--pid-file PATH]\n"
                 "                   [--root DIR] [--dns-command LINE] [--reindex-command LINE]\n");
    return 2;
}

bool parseNumber(const char* text, long& value) {
    char* end = nullptr;
    value = std::strtol(text, &end, 10);
    return end != text && *end == '\0' && value >= 0;
}

}  // namespace

int main(int argc, char** argv) {
    Core::HelperToolOptions options;
    options.server.allowedUid = ::getuid();
    std::string socketPath;
    std::optional<std::string> dnsCommand;
    std::optional<std::string> reindexCommand;
    for (int i = 1; i < argc; ++i) {
        std::string option = argv[i];
        if (i + 1 >= argc) return usage();
        const char* value = argv[++i];
        long number = 0;
        if (option == "--socket") {
            socketPath = value;
        } else if (option == "--root") {
            // The system paths it serves (socket, maintenance tools) lie under this root.
            platform::Layout::shared().setRoot(value);
        } else if (option == "--allow-uid" && parseNumber(value, number)) {
            options.server.allowedUid = static_cast<uid_t>(number);
        } else if (option == "--ready-fd" && parseNumber(value, number)) {
            options.readyFd = static_cast<int>(number);
        } else if (option == "--pid-file") {
            options.pidFile = value;
        } else if (option == "--dns-command") {
            dnsCommand = value;
        } else if (option == "--reindex-command") {
            reindexCommand = value;
        } else {
            return usage();
        }
    }
    options.server.socketPath = socketPath.empty() ? platform::Layout::shared().helperSocketPath() : socketPath;
    options.server.service = Core::defaultServiceOptions();
    if (dnsCommand) options.server.service.clearDNSCacheCommand = *dnsCommand;
    if (reindexCommand) options.server.service.reindexSpotlightCommand = *reindexCommand;
    (void)kInfoPlist;
    return Core::runHelperTool(options);
}
