// Drives the helper's frame decoder with arbitrary bytes, fed in pieces
// whose sizes come from the input itself. Every message that decodes must
// encode back to the very bytes it came from.
#include "Core/helper/HelperFrameDecoder.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    // The first byte picks the piece size, so split frames are tried too.
    size_t piece = size_t{data[0]} % 17 + 1;
    ++data;
    --size;
    Core::HelperFrameDecoder decoder;
    Core::HelperMessage message;
    size_t consumed = 0;
    for (size_t at = 0; at < size; at += piece) {
        size_t count = size - at < piece ? size - at : piece;
        decoder.feed(data + at, count);
        for (;;) {
            size_t before = decoder.buffered();
            auto status = decoder.next(message);
            if (status != Core::HelperFrameDecoder::Status::message) break;
            auto frame = Core::encodeFrame(message);
            size_t used = before - decoder.buffered();
            if (!frame || frame->size() != used || std::memcmp(frame->data(), data + consumed, used) != 0) std::abort();
            consumed += used;
        }
        if (decoder.isMalformed()) break;
    }
    return 0;
}
