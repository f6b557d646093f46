#pragma once
// Test helpers for the helper tool: this test program started again as the
// tool (a real process on a real socket), and a raw wire client that
// collects what the tool sends.

#include "Core/helper/HelperInstaller.h"
#include "Core/helper/HelperMessage.h"
#include "Core/helper/internal/FramedSocket.h"

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace helper_testing {

struct ToolSettings {
    std::string socketPath;
    uid_t allowedUid = 0;
    std::string dnsCommand = "true";
    std::string reindexCommand = "false";
    // A tool that accepts connections and never reads from them.
    bool silent = false;
    // The layout root the tool serves (its installed copy lies below it).
    std::string root;
    // The enciphered scripts document whose scripts it runs.
    std::string scriptsDocument;
    // A folder it must never delete itself.
    std::string protectedFolder;
};

// This test program, started as the helper tool; stopped (SIGTERM, then
// reaped) when destroyed.
class HelperProcess {
public:
    explicit HelperProcess(const ToolSettings& settings);
    ~HelperProcess();
    bool isRunning() const { return _pid > 0; }
    // SIGKILL and reap: the tool is gone as after a crash.
    void kill();

private:
    pid_t _pid = -1;
};

// A connection to the tool that records every message it receives.
class WireClient {
public:
    explicit WireClient(const std::string& socketPath);
    ~WireClient();
    bool isConnected() const { return _socket != nullptr; }
    bool send(const Core::HelperMessage& message);
    bool sendRaw(const std::string& bytes);
    // Waits (up to 20 s) until `done` holds for the messages received so far.
    bool waitFor(const std::function<bool(const std::vector<Core::HelperMessage>&)>& done);
    // Waits until the tool closed the connection.
    bool waitForClose();
    std::vector<Core::HelperMessage> received();

private:
    std::shared_ptr<Core::internal::FramedSocket> _socket;
    std::thread _reader;
    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<Core::HelperMessage> _messages;
    bool _closed = false;
};

// Runs `executable` (this test program or a copy of it) as a client of the
// tool under `uid`: 0 when its test call was answered, 1 when the tool closed
// the connection, other values when it could not try.
int clientAnswered(const std::string& executable, const std::string& socketPath, uid_t uid);

// The enciphered scripts document of the installed resources, one
// application per script.
void writeScriptsDocument(const std::string& path, const std::vector<std::string>& scripts);

// A minimal 64-bit ELF file whose only content is an ".info_plist" section
// holding `section`.
void writeTool(const std::string& path, const std::string& section);

// True when `path` and every folder above it belong to root and are
// writable by nobody else: only then may the tool name it as a client, so
// tests that name this test program skip elsewhere.
bool onlyRootMayReplace(const std::string& path);

// An installer whose bundled tool ("/app/tool") is `applicationVersion` and
// whose installed one "2.0": up to date unless a test raises the former.
// Authorization is granted and every install refused; both are counted.
class StubInstaller final : public Core::HelperInstaller {
public:
    std::optional<std::string> bundledToolPath() const override { return "/app/tool"; }
    std::optional<std::string> toolVersion(const std::string& path) const override {
        ++versionReads;
        return path == "/app/tool" ? applicationVersion : std::string("2.0");
    }
    int createAuthorization(bool& hasReference) override {
        hasReference = true;
        return 0;
    }
    bool bless(const std::string&, std::string& error) override {
        ++blessCount;
        error = "refused";
        return false;
    }
    std::string applicationVersion = "2.0";
    mutable std::atomic<int> versionReads{0};
    std::atomic<int> blessCount{0};
};

// True once the last message has `kind`.
bool lastIs(const std::vector<Core::HelperMessage>& messages, Core::HelperMessageKind kind);

}  // namespace helper_testing
