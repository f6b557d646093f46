#include "Core/helper/HelperTool.h"

#include "Core/helper/HelperInstaller.h"
#include "Core/helper/internal/ToolInfo.h"
#include "platform/Analytics.h"
#include "platform/Layout.h"
#include "platform/ResourceBundle.h"

#include <pthread.h>
#include <pwd.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <optional>
#include <vector>
#include <thread>

namespace Core {

namespace {

// The tool's path as one word for /bin/sh, whatever the root holds.
std::string quotedSystemPath(const std::string& absolutePath) {
    std::string path = platform::Layout::shared().systemPath(absolutePath);
    std::string quoted = "'";
    for (char c : path) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::optional<std::string> homeFolderOf(uid_t uid) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr ||
        found->pw_dir == nullptr || *found->pw_dir == '\0')
        return std::nullopt;
    return std::string(found->pw_dir);
}

}  // namespace

HelperServiceOptions defaultServiceOptions() {
    HelperServiceOptions options;
    options.reindexSpotlightCommand = quotedSystemPath("/usr/bin/updatedb");
    options.clearDNSCacheCommand = quotedSystemPath("/usr/bin/resolvectl") + " flush-caches";
    options.scriptsDocument = platform::ResourceBundle::shared().pathForResource("scripts", "txt").value_or("");
    return options;
}

int runHelperTool(const HelperToolOptions& options) {
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    HelperServerOptions serverOptions = options.server;
    if (serverOptions.authorizedClients.empty())
        serverOptions.authorizedClients =
            internal::readAuthorizedClients(HelperInstaller::shared()->installedToolPath());
    if (serverOptions.service.protectedFolders.empty())
        for (uid_t uid : {serverOptions.allowedUid, uid_t{0}})
            if (auto home = homeFolderOf(uid)) serverOptions.service.protectedFolders.push_back(*home);
    HelperServer server(serverOptions);
    std::string error;
    if (!server.listen(error)) {
        platform::log("helper: " + error);
        if (options.readyFd >= 0) {
            std::string answer = "failed " + error + "\n";
            (void)!::write(options.readyFd, answer.data(), answer.size());
            ::close(options.readyFd);
        }
        return 1;
    }
    std::string pidFile = options.pidFile.empty() ? options.server.socketPath + ".pid" : options.pidFile;
    std::ofstream(pidFile) << ::getpid() << "\n";
    if (options.readyFd >= 0) {
        (void)!::write(options.readyFd, "ready\n", 6);
        ::close(options.readyFd);
    }

    // A signal is taken by this thread, which then stops the server; the
    // server's own threads inherit the blocked mask.
    std::thread signalWaiter([&server, stopSignals] {
        int received = 0;
        sigwait(&stopSignals, &received);
        if (received != 0) server.stop();
    });
    server.serve();
    // serve() can also end on its own (the socket failed); wake the waiter.
    ::kill(::getpid(), SIGTERM);
    signalWaiter.join();
    return 0;
}

}  // namespace Core
