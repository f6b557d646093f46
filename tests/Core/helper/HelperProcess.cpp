#include "HelperProcess.h"

#include "Core/helper/HelperTool.h"
#include "Core/rules/AESHelper.h"
#include "platform/Layout.h"
#include "support/TempDir.h"

#include <elf.h>
#include <grp.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

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

// A client as another user: drops to `uid`, asks `test`, and exits 0 when
// it was answered.
[[noreturn]] void runClient(const std::string& socketPath, uid_t uid) {
    if (::setgroups(0, nullptr) != 0 || ::setgid(uid) != 0 || ::setuid(uid) != 0) ::_exit(3);
    int fd = Core::internal::FramedSocket::connectTo(socketPath);
    if (fd < 0) ::_exit(4);
    Core::internal::FramedSocket socket(fd);
    socket.send(Core::HelperMessage::call(Core::HelperMessageKind::test, 1));
    bool answered = false;
    socket.readMessages([&](Core::HelperMessage m) {
        answered = m.kind == Core::HelperMessageKind::replyVoid;
        socket.shutdown();
    });
    ::_exit(answered ? 0 : 1);
}

// When this program was started as the tool, it serves and never returns
// to the tests; started as a client, it tries the tool once.
const bool startedAsTool = [] {
    if (const char* clientOf = std::getenv("CORE_TEST_HELPER_CLIENT"))
        runClient(clientOf, static_cast<uid_t>(std::atol(std::getenv("CORE_TEST_HELPER_CLIENT_UID"))));
    const char* socketPath = std::getenv("CORE_TEST_HELPER_SOCKET");
    if (socketPath == nullptr) return false;
    int readyFd = std::atoi(std::getenv("CORE_TEST_HELPER_READY_FD"));
    if (std::getenv("CORE_TEST_HELPER_SILENT") != nullptr) runSilentTool(socketPath, readyFd);
    Core::HelperToolOptions options;
    options.server.socketPath = socketPath;
    options.server.allowedUid = static_cast<uid_t>(std::atol(std::getenv("CORE_TEST_HELPER_UID")));
    options.server.service.clearDNSCacheCommand = std::getenv("CORE_TEST_HELPER_DNS");
    options.server.service.reindexSpotlightCommand = std::getenv("CORE_TEST_HELPER_REINDEX");
    options.server.service.scriptsDocument = std::getenv("CORE_TEST_HELPER_SCRIPTS");
    if (const char* kept = std::getenv("CORE_TEST_HELPER_PROTECTED"); kept != nullptr && *kept != '\0')
        options.server.service.protectedFolders = {kept};
    if (const char* root = std::getenv("CORE_TEST_HELPER_ROOT"); root != nullptr && *root != '\0')
        platform::Layout::shared().setRoot(root);
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
        "CORE_TEST_HELPER_ROOT=" + settings.root,
        "CORE_TEST_HELPER_SCRIPTS=" + settings.scriptsDocument,
        "CORE_TEST_HELPER_PROTECTED=" + settings.protectedFolder,
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

int clientAnswered(const std::string& executable, const std::string& socketPath, uid_t uid) {
    std::string client = "CORE_TEST_HELPER_CLIENT=" + socketPath;
    std::string clientUid = "CORE_TEST_HELPER_CLIENT_UID=" + std::to_string(uid);
    char* environment[] = {client.data(), clientUid.data(), nullptr};
    char name[] = "helper-client-under-test";
    char* argv[] = {name, nullptr};
    pid_t pid = -1;
    if (::posix_spawn(&pid, executable.c_str(), nullptr, nullptr, argv, environment) != 0) return -1;
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void writeScriptsDocument(const std::string& path, const std::vector<std::string>& scripts) {
    std::string xml = "<scripts>";
    for (size_t i = 0; i < scripts.size(); ++i) {
        std::string text;
        for (char c : scripts[i])
            text += c == '&' ? std::string("&amp;") : c == '<' ? std::string("&lt;") : std::string(1, c);
        xml += "<app id=\"com.example.App" + std::to_string(i) + "\"><script useAdminPrivileges=\"true\">" + text +
               "</script></app>";
    }
    testing_support::writeFile(path, *Core::AESHelper::shared().encrypt(xml + "</scripts>"));
}

void writeTool(const std::string& path, const std::string& section) {
    const std::string names = std::string("\0.shstrtab\0.info_plist\0", 23);
    Elf64_Ehdr header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_EXEC;
    header.e_machine = EM_X86_64;
    header.e_version = EV_CURRENT;
    header.e_ehsize = sizeof(Elf64_Ehdr);
    header.e_shentsize = sizeof(Elf64_Shdr);
    header.e_shnum = 3;
    header.e_shstrndx = 1;
    uint64_t sectionOffset = sizeof header;
    uint64_t namesOffset = sectionOffset + section.size() + 1;
    header.e_shoff = (namesOffset + names.size() + 7) & ~uint64_t{7};
    Elf64_Shdr sections[3]{};
    sections[1].sh_name = 1;
    sections[1].sh_type = SHT_STRTAB;
    sections[1].sh_offset = namesOffset;
    sections[1].sh_size = names.size();
    sections[2].sh_name = 11;
    sections[2].sh_type = SHT_PROGBITS;
    sections[2].sh_offset = sectionOffset;
    sections[2].sh_size = section.size() + 1;
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    bytes += section + '\0' + names;
    bytes.resize(header.e_shoff, '\0');
    bytes.append(reinterpret_cast<const char*>(sections), sizeof sections);
    testing_support::writeFile(path, bytes);
}

bool lastIs(const std::vector<Core::HelperMessage>& messages, Core::HelperMessageKind kind) {
    return !messages.empty() && messages.back().kind == kind;
}

bool onlyRootMayReplace(const std::string& path) {
    for (std::filesystem::path at = path;; at = at.parent_path()) {
        struct stat st {};
        if (::lstat(at.c_str(), &st) != 0 || st.st_uid != 0 || (st.st_mode & (S_IWGRP | S_IWOTH)) != 0) return false;
        if (at == at.root_path() || at.empty()) return true;
    }
}

}  // namespace helper_testing
