#pragma once
// Reads a link's target into the caller's 1024-byte buffer. One byte
// stays free, so a target of 1024 bytes or more comes back cut short and
// fails the caller's length test against the link's size.

#include "dff/Path.h"

#include <string_view>

namespace dff::internal {

struct LinkTarget {
    static constexpr size_t kCapacity = 1024;
    // The target text, or nothing (a negative length) on failure. The text
    // stays valid until the next read into the same buffer.
    static long read(const Path& path, char (&buffer)[kCapacity], std::string_view& target);
};

}  // namespace dff::internal
