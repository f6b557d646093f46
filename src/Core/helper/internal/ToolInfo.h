#pragma once
// The information property list that travels inside the helper tool: an
// ELF section named ".info_plist" holding an XML or binary property list,
// the way the platform embeds one in a bare executable.
//
// Threading: any thread.
//
//   auto version = internal::readToolBundleVersion("/usr/libexec/core-helper");

#include <optional>
#include <string>
#include <vector>

namespace Core::internal {

// The name of the section.
inline constexpr const char* kInfoPlistSection = ".info_plist";
// The key of the list of host executables the tool serves.
inline constexpr const char* kAuthorizedClientsKey = "SMAuthorizedClients";

// The section's bytes; nothing when the file isn't a 64-bit ELF file, has
// no such section, or the section is larger than 1 MiB or runs past the end.
std::optional<std::string> readEmbeddedInfoPlist(const std::string& path);
// "CFBundleVersion" of that list; nothing when it can't be read or isn't a
// string.
std::optional<std::string> readToolBundleVersion(const std::string& path);
// The strings of "SMAuthorizedClients" in that list (other entries are
// skipped); empty when there is none.
std::vector<std::string> readAuthorizedClients(const std::string& path);

}  // namespace Core::internal
