#include "Core/helper/HelperFrameDecoder.h"

namespace Core {

void HelperFrameDecoder::feed(const void* data, size_t size) {
    if (_malformed || size == 0) return;
    // Drop what was consumed before the buffer grows, so it holds at most
    // one frame and one read.
    if (_offset > 0 && _offset >= _buffer.size() / 2) {
        _buffer.erase(0, _offset);
        _offset = 0;
    }
    _buffer.append(static_cast<const char*>(data), size);
}

HelperFrameDecoder::Status HelperFrameDecoder::next(HelperMessage& message) {
    if (_malformed) return Status::malformed;
    size_t available = _buffer.size() - _offset;
    if (available < 4) return Status::needMore;
    const auto* bytes = reinterpret_cast<const uint8_t*>(_buffer.data() + _offset);
    uint32_t length = (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | bytes[3];
    if (length == 0 || length > kHelperMaxFrameSize) {
        _malformed = true;
        return Status::malformed;
    }
    if (available - 4 < length) return Status::needMore;
    auto decoded = decodePayload(bytes + 4, length);
    if (!decoded) {
        _malformed = true;
        return Status::malformed;
    }
    _offset += 4 + size_t{length};
    if (_offset == _buffer.size()) {
        _buffer.clear();
        _offset = 0;
    }
    message = std::move(*decoded);
    return Status::message;
}

}  // namespace Core
