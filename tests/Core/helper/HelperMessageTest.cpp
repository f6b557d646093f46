#include "Core/helper/HelperFrameDecoder.h"

#include <gtest/gtest.h>

using Core::HelperFrameDecoder;
using Core::HelperMessage;
using K = Core::HelperMessageKind;

namespace {

std::vector<HelperMessage> everyKind() {
    std::vector<HelperMessage> messages;
    for (K kind : {K::test, K::deleteAtPaths, K::pauseDeleting, K::resumeDeleting, K::stopDeleting, K::getDirectorySize,
                   K::stopGettingSize, K::shredFile, K::changeMode, K::reindexSpotlight, K::clearDNSCache,
                   K::replyVoid, K::replySize, K::replyBool, K::deletedAt, K::launchedScript, K::deletingAt,
                   K::deletionCompleted}) {
        HelperMessage m = HelperMessage::call(kind);
        switch (kind) {
            case K::test: case K::reindexSpotlight: case K::clearDNSCache: case K::replyVoid:
                m.callId = 0xA1B2C3D4;
                break;
            case K::getDirectorySize: case K::shredFile:
                m.callId = 9;
                m.path = "/Library/Caches/ünï code";
                break;
            case K::deleteAtPaths:
                m.paths = {"/a", "", std::string("with\0nul", 8)};
                m.scripts = {"rm -rf /tmp/x"};
                break;
            case K::changeMode: case K::replyBool:
                m.flag = true;
                m.callId = kind == K::replyBool ? 3 : 0;
                break;
            case K::replySize:
                m.callId = 4;
                m.size = -1234567890123LL;
                break;
            case K::deletedAt:
                m.path = "/gone";
                m.flag = true;
                break;
            case K::deletingAt:
                m.path = "/now";
                break;
            default:
                break;
        }
        messages.push_back(m);
    }
    return messages;
}

std::string frameOf(const std::string& payload) {
    std::string frame(4, '\0');
    uint32_t size = static_cast<uint32_t>(payload.size());
    for (int i = 0; i < 4; ++i) frame[i] = static_cast<char>(size >> (24 - 8 * i));
    return frame + payload;
}

HelperFrameDecoder::Status decodeAll(const std::string& bytes) {
    HelperFrameDecoder decoder;
    decoder.feed(bytes.data(), bytes.size());
    HelperMessage m;
    HelperFrameDecoder::Status status;
    while ((status = decoder.next(m)) == HelperFrameDecoder::Status::message) {}
    return status;
}

}  // namespace

TEST(HelperMessageTest, EveryKindSurvivesTheWireEvenByteByByte) {
    std::string stream;
    auto messages = everyKind();
    for (const auto& m : messages) stream += *Core::encodeFrame(m);
    HelperFrameDecoder decoder;
    std::vector<HelperMessage> decoded;
    for (char byte : stream) {
        decoder.feed(&byte, 1);
        HelperMessage m;
        while (decoder.next(m) == HelperFrameDecoder::Status::message) decoded.push_back(m);
    }
    EXPECT_EQ(decoded, messages);
    EXPECT_EQ(decoder.buffered(), 0u);
}

TEST(HelperMessageTest, MalformedFramesAreRefusedForGood) {
    using S = HelperFrameDecoder::Status;
    EXPECT_EQ(decodeAll(frameOf("")), S::malformed);                           // empty frame
    EXPECT_EQ(decodeAll(std::string("\x01\x00\x00\x01", 4)), S::malformed);   // beyond the size limit
    EXPECT_EQ(decodeAll(frameOf("\x63")), S::malformed);                      // unknown kind
    EXPECT_EQ(decodeAll(frameOf(std::string("\x09\x02", 2))), S::malformed);  // a Bool of 2
    EXPECT_EQ(decodeAll(frameOf(std::string("\x03\x00", 2))), S::malformed);  // bytes left over
    EXPECT_EQ(decodeAll(frameOf(std::string("\x01\x00\x00", 3))), S::malformed);  // call id cut short
    // A string longer than its frame, and a list count no frame could hold.
    EXPECT_EQ(decodeAll(frameOf(std::string("\x52\x00\x00\x00\x09/ab", 8))), S::malformed);
    EXPECT_EQ(decodeAll(frameOf(std::string("\x02\x7F\xFF\xFF\xFF\x00\x00\x00\x00", 9))), S::malformed);
    // A frame that is merely incomplete waits for more.
    EXPECT_EQ(decodeAll(std::string("\x00\x00\x00\x05\x01", 5)), S::needMore);

    HelperFrameDecoder decoder;
    std::string bad = frameOf("\x63") + *Core::encodeFrame(HelperMessage::call(K::test, 1));
    decoder.feed(bad.data(), bad.size());
    HelperMessage m;
    EXPECT_EQ(decoder.next(m), S::malformed);
    EXPECT_EQ(decoder.next(m), S::malformed);  // no resynchronising after garbage
}

TEST(HelperMessageTest, OversizedMessagesAreNotEncoded) {
    HelperMessage m = HelperMessage::call(K::deleteAtPaths);
    m.paths.assign(5, std::string(4u << 20, 'p'));
    EXPECT_FALSE(Core::encodeFrame(m).has_value());
}
