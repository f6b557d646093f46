#pragma once
// runHelperTool: the helper tool's whole life in the foreground: listen,
// note its process id, tell the installer it is ready, serve clients until
// SIGTERM or SIGINT.
//
// Threading: call from the main thread before any other thread starts, so
// that the two signals can be blocked for every thread.
//
//   Core::HelperToolOptions options;
//   options.server.socketPath = "/tmp/helper.socket";
//   options.server.allowedUid = getuid();
//   return Core::runHelperTool(options);

#include "Core/helper/HelperServer.h"

#include <string>

namespace Core {

struct HelperToolOptions {
    HelperServerOptions server;
    int readyFd = -1;     // "ready\n" is written here once listening, then closed
    std::string pidFile;  // empty: "<socket>.pid"
};

// The Linux commands behind the two maintenance calls: "/usr/bin/updatedb"
// and "/usr/bin/resolvectl flush-caches", looked up under the layout's root;
// and the scripts document of the resources folder ("scripts.txt").
HelperServiceOptions defaultServiceOptions();

// 0 after a signal ended the service; 1 when the socket can't be set up.
// Empty server.authorizedClients are read from "SMAuthorizedClients" of the
// installed tool's information list; empty service.protectedFolders are
// the home folders of server.allowedUid and of root.
int runHelperTool(const HelperToolOptions& options);

}  // namespace Core
