#pragma once
// The session's login items list, as the startup items see it: adding and
// removing an application, and the applications it holds now.
//
// Threading: any thread.
//
//   Core::addSpecialLoginItem(platform::URL::fileURL("/Applications/Notes.app"));
//   Core::removeSpecialLoginItem(platform::URL::fileURL("/Applications/Notes.app"));

#include "platform/URL.h"

#include <optional>
#include <vector>

namespace Core {

// Puts the file URL of `url`'s path at the head of the list. False when the
// list can't be opened or written.
bool addSpecialLoginItem(const platform::URL& url);

// Removes every entry that resolves to `url` (compared as file URLs of their
// paths, so a folder's URL matches with or without its trailing slash).
// False when the list can't be opened or read; true also when nothing matched.
bool removeSpecialLoginItem(const platform::URL& url);

// The entries that resolve to something on disk, in list order; nothing
// when the list can't be opened or read.
std::optional<std::vector<platform::URL>> sessionLoginItemURLs();

}  // namespace Core
