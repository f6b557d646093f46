#pragma once
// The bytes of a regular file; nothing for folders and unreadable paths
// (a stream on a folder opens, then throws on its first read).
//
// Threading: any thread.
//
//   if (auto text = platform::internal::readRegularFile(path)) parse(*text);

#include <optional>
#include <string>

namespace platform::internal {

std::optional<std::string> readRegularFile(const std::string& path);

}  // namespace platform::internal
