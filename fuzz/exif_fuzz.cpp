// Feeds arbitrary bytes to the EXIF reader, as a whole file and as the body
// of an APP1 segment, so that both entry points meet every input.
#include "dff/exif/EXIFInfo.h"

#include <climits>
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    unsigned length = size > UINT_MAX ? UINT_MAX : unsigned(size);
    easyexif::EXIFInfo info;
    info.parseFrom(data, length);
    // A JPEG seed's segment starts behind the start marker, the APP1 marker
    // and its length; try it there too so that mutations reach the IFDs fast.
    if (length > 6) {
        easyexif::EXIFInfo segment;
        segment.parseFromEXIFSegment(data + 6, length - 6);
    }
    info.parseFromEXIFSegment(data, length);
    return 0;
}
