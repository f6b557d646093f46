#pragma once
// Opening the library's resource documents: lookup by name and type in the
// resource bundle, reading a whole file, and the deciphering of the
// enciphered documents (AES, then UTF-8 text with NUL characters removed).
//
// Threading: pure functions over their arguments and the shared bundle;
// callable from any thread.
//
//   std::string text = Core::openEncipheredResource(Core::requireResource("ruleInfo", "txt"));

#include <optional>
#include <string>
#include <string_view>

namespace Core {

// The path of the resource `name`.`type` in the shared resource bundle;
// throws ResourceError naming the file and the folder when it is missing.
std::string requireResource(const std::string& name, const std::string& type);

// All bytes of the file at `path`; throws ResourceError when it cannot be
// opened or read.
std::string readResourceFile(const std::string& path);

// Deciphers `bytes` and reads them as text: invalid UTF-8 gives the empty
// text, NUL characters are removed. Nothing when the bytes don't decipher.
std::optional<std::string> decipherResourceText(std::string_view bytes);

// Reads and deciphers the file at `path`; throws ResourceError when it is
// missing or unreadable, or when its bytes don't decipher.
std::string openEncipheredResource(const std::string& path);

}  // namespace Core
