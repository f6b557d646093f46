// The application's end of the helper connection fed by a hostile tool: the
// input is what the tool sends, replies to calls in flight included, then
// the tool hangs up. Whatever it sends, the connection must end through its
// handlers, with no reply delivered twice or to the wrong kind of call.
#include "Core/helper/internal/HelperSocketConnection.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace {

class Receiver final : public Core::OMHelperDelegate {
public:
    void helperDeletedAt(const std::string& path, bool) override { pathBytes += path.size(); }
    void helperLaunchedScript() override {}
    void helperDeletingAt(const std::string& path) override { pathBytes += path.size(); }
    void helperDeletionCompleted() override {}
    size_t pathBytes = 0;
};

// One listening socket for the whole run; each input is one connection.
struct Listener {
    std::string path = "/tmp/helperclient-fuzz-" + std::to_string(::getpid()) + ".socket";
    int fd = -1;
    Listener() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        ::unlink(path.c_str());
        fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(fd, 4) != 0)
            std::abort();
    }
    ~Listener() { ::unlink(path.c_str()); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Listener listener;
    std::mutex mutex;
    std::condition_variable changed;
    bool invalidated = false;
    int replies[4] = {};

    auto connection = std::make_shared<Core::internal::HelperSocketConnection>(listener.path);
    connection->setExportedObject(std::make_shared<Receiver>());
    auto proxy = connection->remoteObjectProxyWithErrorHandler([] {});
    connection->setInvalidationHandler([&] {
        std::lock_guard lock(mutex);
        invalidated = true;
        changed.notify_all();
    });
    connection->resume();
    int tool = ::accept4(listener.fd, nullptr, nullptr, SOCK_CLOEXEC);
    if (tool < 0) std::abort();
    // Calls 1 to 4 wait for their replies, each of its own kind.
    proxy->test([&] { ++replies[0]; });
    proxy->getDirectorySizeAt("/x", [&](int64_t) { ++replies[1]; });
    proxy->shredFile("/x", [&](bool) { ++replies[2]; });
    proxy->clearDNSCache([&](bool) { ++replies[3]; });
    for (size_t sent = 0; sent < size;) {
        ssize_t count = ::send(tool, data + sent, size - sent, MSG_NOSIGNAL);
        if (count <= 0) break;
        sent += static_cast<size_t>(count);
    }
    ::shutdown(tool, SHUT_WR);
    {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, std::chrono::seconds(10), [&] { return invalidated; })) std::abort();
    }
    ::close(tool);
    connection.reset();
    for (int count : replies)
        if (count > 1) std::abort();
    return 0;
}
