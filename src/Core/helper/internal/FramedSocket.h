#pragma once
// FramedSocket: one connected Unix-domain stream socket carrying helper
// frames both ways. Sends are serialised by a lock and never raise SIGPIPE;
// reading runs on whichever thread calls readMessages.
//
// Threading: send and shutdown from any thread; readMessages from one.
//
//   internal::FramedSocket socket(fd);
//   socket.send(message);
//   socket.readMessages([](HelperMessage m) { ... });   // until EOF or a bad frame

#include "Core/helper/HelperMessage.h"

#include <functional>
#include <mutex>
#include <string>

namespace Core::internal {

class FramedSocket {
public:
    // Takes ownership of `fd`.
    explicit FramedSocket(int fd) : _fd(fd) {}
    ~FramedSocket();
    FramedSocket(const FramedSocket&) = delete;
    FramedSocket& operator=(const FramedSocket&) = delete;

    // False when the frame is too large or the peer is gone.
    bool send(const HelperMessage& message);
    enum class End { closed, malformed, readError };
    // Hands each message to `onMessage` until the peer closes, a read fails
    // or a frame is malformed.
    End readMessages(const std::function<void(HelperMessage)>& onMessage);
    // Ends both directions; a blocked readMessages returns.
    void shutdown();
    int fd() const { return _fd; }

    // A connected client socket for `path`, or -1 with errno set.
    static int connectTo(const std::string& path);

private:
    int _fd;
    std::mutex _sendLock;
};

}  // namespace Core::internal
