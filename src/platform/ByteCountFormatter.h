#pragma once
// The platform's byte-count text in its default configuration: decimal
// units, "Zero KB", "1 byte", "N bytes" below 1000, whole kilobytes, one
// decimal for megabytes, two for gigabytes and above, trailing zeros
// dropped. Pure and thread-safe.
//
//   platform::formatByteCount(1234567);   // "1.2 MB"

#include <cstdint>
#include <string>

namespace platform {

std::string formatByteCount(int64_t bytes);

}  // namespace platform
