#pragma once
// SpecialItemInserter: puts an application at the head of a login items
// list, with no display name, icon or properties of its own.
//
// Threading: any thread (the list locks its file).
//
//   if (auto list = platform::LoginItemsList::create())
//       Core::SpecialItemInserter().insertItem(url, *list);

#include "platform/LoginItemsList.h"
#include "platform/URL.h"

namespace Core {

class SpecialItemInserter {
public:
    // False when the list couldn't be written.
    bool insertItem(const platform::URL& url, platform::LoginItemsList& listRef) const;
};

}  // namespace Core
