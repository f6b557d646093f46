// sweeper helper serve|ping: the privileged helper tool in the foreground,
// and a check that it answers.
#include "Command.h"
#include "Output.h"

#include "Core/helper/HelperTool.h"
#include "platform/Layout.h"

#include <unistd.h>

#include <memory>

namespace sweeper {
namespace {

const CommandRegistration serveRegistration{
    {"helper", "serve"}, "Run the helper tool in the foreground until Ctrl-C",
    [](CLI::App& cmd, Globals&) -> Action {
        auto socket = std::make_shared<std::string>();
        auto uid = std::make_shared<long>(static_cast<long>(::getuid()));
        cmd.add_option("--socket", *socket, "The socket to listen on (default: the layout's helper socket)");
        cmd.add_option("--allow-uid", *uid, "The user served besides root (default: you)");
        return [socket, uid] {
            Core::HelperToolOptions options;
            options.server.socketPath = socket->empty() ? platform::Layout::shared().helperSocketPath() : *socket;
            options.server.allowedUid = static_cast<uid_t>(*uid);
            options.server.service = Core::defaultMaintenanceCommands();
            std::fprintf(stderr, "helper: serving on %s\n", options.server.socketPath.c_str());
            if (Core::runHelperTool(options) != 0) throw CommandError("the helper tool could not listen");
            return 0;
        };
    }};

}  // namespace
}  // namespace sweeper
