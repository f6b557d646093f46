#pragma once
// HelperFrameDecoder: turns the bytes read from the helper socket, in
// pieces of any size, back into messages. A frame longer than
// kHelperMaxFrameSize, an empty frame or a payload that doesn't decode makes
// the decoder malformed for good: the connection is then closed, since the
// stream can't be resynchronised.
//
// Threading: one decoder per connection, used by one thread.
//
//   Core::HelperFrameDecoder decoder;
//   decoder.feed(buffer, count);
//   Core::HelperMessage message;
//   while (decoder.next(message) == Core::HelperFrameDecoder::Status::message) handle(message);

#include "Core/helper/HelperMessage.h"

#include <cstddef>
#include <string>

namespace Core {

class HelperFrameDecoder {
public:
    enum class Status { needMore, message, malformed };

    // Appends bytes; ignored once malformed.
    void feed(const void* data, size_t size);
    // The next whole message, if one is buffered.
    Status next(HelperMessage& message);
    bool isMalformed() const { return _malformed; }
    // Bytes held that aren't a whole frame yet.
    size_t buffered() const { return _buffer.size() - _offset; }

private:
    std::string _buffer;
    size_t _offset = 0;
    bool _malformed = false;
};

}  // namespace Core
