#pragma once
// What an application installs outside its bundle that the rules can't
// know: privileged helper tools, matched to their client application by the
// "SMAuthorizedClients" requirement in each tool's embedded information
// dictionary; and the system-protection mark that keeps the system's own
// applications out of the application list.
//
// Threading: any thread; both read the disk.
//
//   auto helpers = Core::privilegedHelperMap();
//   if (auto it = helpers.find("com.example.Notes"); it != helpers.end()) add(it->second);
//   if (Core::rootless(url)) skip(url);

#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/URL.h"

#include <unordered_map>

namespace Core {

// Client bundle identifier to tool, for everything below
// "/Library/PrivilegedHelperTools" (root prefix applied). A tool without the
// key, or whose requirement names no identifier in double quotes, adds
// nothing; of two tools for one client, the later in listing order wins.
std::unordered_map<CaseInsensitiveString, platform::URL> privilegedHelperMap();

// True when the file carries the system-protection attribute. Linux has no
// "com.apple.rootless"; its stand-in is the user-namespace attribute
// "user.com.apple.rootless", which an unprivileged test can set.
bool rootless(const platform::URL& url);

}  // namespace Core
