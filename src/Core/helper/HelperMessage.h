#pragma once
// HelperMessage: one message between the application and the helper tool,
// and its frame on the wire: a 32-bit big-endian payload length, then the
// payload: one kind byte and the kind's fields. Integers are big-endian,
// strings a 32-bit length and their bytes, string lists a 32-bit count and
// their strings, Bools one byte 0 or 1.
//
// Threading: plain values and pure functions.
//
//   std::string frame = Core::encodeFrame(Core::HelperMessage::call(Core::HelperMessageKind::test, 7));
//   auto message = Core::decodePayload(payloadBytes, payloadLength);  // nothing if malformed

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Core {

enum class HelperMessageKind : uint8_t {
    // Calls of OMHelperProtocol, application to tool.
    test = 1,                // callId
    deleteAtPaths = 2,       // paths, scripts
    pauseDeleting = 3,
    resumeDeleting = 4,
    stopDeleting = 5,
    getDirectorySize = 6,    // callId, path
    stopGettingSize = 7,
    shredFile = 8,           // callId, path
    changeMode = 9,          // flag
    reindexSpotlight = 10,   // callId
    clearDNSCache = 11,      // callId
    // Replies, tool to application.
    replyVoid = 64,          // callId
    replySize = 65,          // callId, size
    replyBool = 66,          // callId, flag
    // Calls of OMHelperDelegate, tool to application.
    deletedAt = 80,          // path, flag
    launchedScript = 81,
    deletingAt = 82,         // path
    deletionCompleted = 83,
};

// The largest payload either side sends or accepts.
constexpr uint32_t kHelperMaxFrameSize = 16u << 20;

struct HelperMessage {
    HelperMessageKind kind = HelperMessageKind::test;
    uint32_t callId = 0;
    std::string path;
    std::vector<std::string> paths;
    std::vector<std::string> scripts;
    bool flag = false;
    int64_t size = 0;

    static HelperMessage call(HelperMessageKind kind, uint32_t callId = 0) {
        HelperMessage message;
        message.kind = kind;
        message.callId = callId;
        return message;
    }
    friend bool operator==(const HelperMessage&, const HelperMessage&) = default;
};

// The whole frame, length prefix included; nothing when the payload would
// exceed kHelperMaxFrameSize.
std::optional<std::string> encodeFrame(const HelperMessage& message);
// The message in one payload (without the length prefix); nothing when the
// kind is unknown, a field runs past the end, a Bool isn't 0 or 1, or bytes
// are left over.
std::optional<HelperMessage> decodePayload(const uint8_t* data, size_t size);

}  // namespace Core
