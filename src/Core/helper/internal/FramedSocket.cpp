#include "Core/helper/internal/FramedSocket.h"

#include "Core/helper/HelperFrameDecoder.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Core::internal {

FramedSocket::~FramedSocket() {
    if (_fd >= 0) ::close(_fd);
}

bool FramedSocket::send(const HelperMessage& message) {
    auto frame = encodeFrame(message);
    if (!frame) return false;
    std::lock_guard lock(_sendLock);
    const char* data = frame->data();
    size_t left = frame->size();
    while (left > 0) {
        ssize_t written = ::send(_fd, data, left, MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        data += written;
        left -= static_cast<size_t>(written);
    }
    return true;
}

FramedSocket::End FramedSocket::readMessages(const std::function<void(HelperMessage)>& onMessage) {
    HelperFrameDecoder decoder;
    char buffer[64 * 1024];
    for (;;) {
        ssize_t count = ::recv(_fd, buffer, sizeof buffer, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) return End::closed;
        if (count < 0) return End::readError;
        decoder.feed(buffer, static_cast<size_t>(count));
        HelperMessage message;
        HelperFrameDecoder::Status status;
        while ((status = decoder.next(message)) == HelperFrameDecoder::Status::message) onMessage(std::move(message));
        if (status == HelperFrameDecoder::Status::malformed) return End::malformed;
    }
}

void FramedSocket::shutdown() { ::shutdown(_fd, SHUT_RDWR); }

int FramedSocket::connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        int error = errno;
        ::close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

}  // namespace Core::internal
