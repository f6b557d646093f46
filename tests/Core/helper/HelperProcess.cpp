#include "HelperProcess.h"

#include "Core/helper/HelperTool.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

extern char** environ;

namespace helper_testing {

namespace {

constexpr auto kWait = std::chrono::seconds(20);

// A tool that never answers: accepts and holds connections, reads nothing.
[[noreturn]] void runSilentTool(const std::string& socketPath, int readyFd) {
    int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    ::unlink(socketPath.c_str());
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(fd, 4) != 0) ::_exit(1);
    (void)!::write(readyFd, "ready\n", 6);
    ::close(readyFd);
    std::vector<int> held;
    for (;;) {
        int client = ::accept(fd, nullptr, nullptr);
        if (client >= 0) held.push_back(client);
    }
}

// When this program was started as the tool, it serves and never returns
// to the tests.
const bool startedAsTool = [] {
    const char* socketPath = std::getenv("CORE_TEST_HELPER_SOCKET");
    if (socketPath == nullptr) return false;
    int readyFd = std::atoi(std::getenv("CORE_TEST_HELPER_READY_FD"));
    if (std::getenv("CORE_TEST_HELPER_SILENT") != nullptr) runSilentTool(socketPath, readyFd);
    Core::HelperToolOptions options;
    options.server.socketPath = socketPath;
    options.server.allowedUid = static_cast<uid_t>(std::atol(std::getenv("CORE_TEST_HELPER_UID")));
    options.server.service.clearDNSCacheCommand = std::getenv("CORE_TEST_HELPER_DNS");
    options.server.service.reindexSpotlightCommand = std::getenv("CORE_TEST_HELPER_REINDEX");
    options.readyFd = readyFd;
    ::_exit(Core::runHelperTool(options));
}();

}  // namespace

HelperProcess::HelperProcess(const ToolSettings& settings) {
    int ready[2];
    if (::pipe(ready) != 0) return;
    std::vector<std::string> variables = {
        "CORE_TEST_HELPER_SOCKET=" + settings.socketPath,
        "CORE_TEST_HELPER_READY_FD=" + std::to_string(ready[1]),
        "CORE_TEST_HELPER_UID=" + std::to_string(settings.allowedUid),
        "CORE_TEST_HELPER_DNS=" + settings.dnsCommand,
        "CORE_TEST_HELPER_REINDEX=" + settings.reindexCommand,
    };
    if (settings.silent) variables.emplace_back("CORE_TEST_HELPER_SILENT=1");
    std::vector<char*> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) environment.push_back(*variable);
    for (auto& variable : variables) environment.push_back(variable.data());
    environment.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, ready[0]);
    char name[] = "core-helper-under-test";
    char* argv[] = {name, nullptr};
    if (::posix_spawn(&_pid, "/proc/self/exe", &actions, nullptr, argv, environment.data()) != 0) _pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(ready[1]);
    char answer[6] = {};
    pollfd waiting{ready[0], POLLIN, 0};
    bool isReady = _pid > 0 && ::poll(&waiting, 1, 20000) > 0 && ::read(ready[0], answer, 6) == 6 &&
                   std::memcmp(answer, "ready\n", 6) == 0;
    ::close(ready[0]);
    if (!isReady) kill();
}

HelperProcess::~HelperProcess() {
    if (_pid <= 0) return;
    ::kill(_pid, SIGTERM);
    int status = 0;
    ::waitpid(_pid, &status, 0);
}

void HelperProcess::kill() {
    if (_pid <= 0) return;
    ::kill(_pid, SIGKILL);
    int status = 0;
    ::waitpid(_pid, &status, 0);
    _pid = -1;
}

WireClient::WireClient(const std::string& socketPath) {
    int fd = Core::internal::FramedSocket::connectTo(socketPath);
    if (fd < 0) return;
    _socket = std::make_shared<Core::internal::FramedSocket>(fd);
    _reader = std::thread([this, socket = _socket] {
        socket->readMessages([this](Core::HelperMessage message) {
            std::lock_guard lock(_mutex);
            _messages.push_back(std::move(message));
            _changed.notify_all();
        });
        std::lock_guard lock(_mutex);
        _closed = true;
        _changed.notify_all();
    });
}

WireClient::~WireClient() {
    if (_socket) _socket->shutdown();
    if (_reader.joinable()) _reader.join();
}

bool WireClient::send(const Core::HelperMessage& message) { return _socket && _socket->send(message); }

bool WireClient::sendRaw(const std::string& bytes) {
    return _socket && ::send(_socket->fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                          static_cast<ssize_t>(bytes.size());
}

bool WireClient::waitFor(const std::function<bool(const std::vector<Core::HelperMessage>&)>& done) {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, kWait, [&] { return done(_messages); });
}

bool WireClient::waitForClose() {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, kWait, [&] { return _closed; });
}

std::vector<Core::HelperMessage> WireClient::received() {
    std::lock_guard lock(_mutex);
    return _messages;
}

bool lastIs(const std::vector<Core::HelperMessage>& messages, Core::HelperMessageKind kind) {
    return !messages.empty() && messages.back().kind == kind;
}

}  // namespace helper_testing
