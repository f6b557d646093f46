// sweeper helper serve|ping: the privileged helper tool in the foreground,
// and a check that it answers.
#include "Command.h"
#include "Output.h"

#include "Core/helper/HelperTool.h"
#include "platform/Layout.h"
#include "Core/helper/HelperConnection.h"
#include "platform/Dispatch.h"

#include <unistd.h>

#include <atomic>
#include <chrono>

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
            options.server.service = Core::defaultServiceOptions();
            std::fprintf(stderr, "helper: serving on %s\n", options.server.socketPath.c_str());
            if (Core::runHelperTool(options) != 0) throw CommandError("the helper tool could not listen");
            return 0;
        };
    }};

// Connects as the library does (no install: that needs root) and waits for
// the answer to test, or for the connection to fail.
int runPing(const Globals& globals) {
    auto connection = Core::HelperConnection::create();
    std::atomic<int> outcome{0};  // 1 answered, -1 failed
    connection->setErrorHandler([&] { outcome = -1; });
    if (!connection->connect(false))
        throw CommandError("the helper tool is not installed or out of date (install it as root)");
    connection->helper()->test([&] {
        outcome = 1;
        platform::dispatch::wakeMainLoop();
    });
    platform::dispatch::runMainLoopUntil([&] { return outcome.load() != 0; }, std::chrono::seconds(10));
    bool answered = outcome.load() == 1;
    connection->close();
    std::string socket = platform::Layout::shared().helperSocketPath();
    if (globals.json)
        printJson({{"socket", socket}, {"answered", answered}});
    else
        std::printf("%s: %s\n", socket.c_str(), answered ? "the helper answered" : "no answer");
    return answered ? 0 : 1;
}

const CommandRegistration pingRegistration{
    {"helper", "ping"}, "Connect to the helper tool and report whether it answers",
    [](CLI::App&, Globals& globals) -> Action { return [&globals] { return runPing(globals); }; }};

}  // namespace
}  // namespace sweeper
