#pragma once
// The bytes of a regular file; nothing for folders, FIFOs, devices,
// unreadable paths and files larger than `maxSize` (also one that grows past
// it while being read). The open does not block, so a FIFO put where a file
// was expected cannot hang the caller.
//
// Threading: any thread.
//
//   if (auto text = platform::internal::readRegularFile(path, 1 << 20)) parse(*text);

#include <cstddef>
#include <optional>
#include <string>

namespace platform::internal {

std::optional<std::string> readRegularFile(const std::string& path, size_t maxSize);

// The same from a descriptor open for reading, from its first byte whatever
// its offset, which is left as it was.
std::optional<std::string> readRegularFile(int descriptor, size_t maxSize);

}  // namespace platform::internal
