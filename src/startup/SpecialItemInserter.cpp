#include "startup/SpecialItemInserter.h"

namespace Core {

bool SpecialItemInserter::insertItem(const platform::URL& url, platform::LoginItemsList& listRef) const {
    return listRef.insertItemBeforeFirst(url);
}

}  // namespace Core
