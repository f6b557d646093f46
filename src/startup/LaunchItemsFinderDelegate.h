#pragma once
// LaunchItemsFinderDelegate: hears a launch items search, one call per item
// found and one when the search has finished. Held weakly by the finder.
//
// Threading: called on the main queue.
//
//   class Listener : public Core::LaunchItemsFinderDelegate {
//       void launchItemsFinderDidFind(const Core::LaunchItem& item) override { items.push_back(item); }
//       void launchItemsFinderDidFinish() override { done = true; }
//   };

#include "startup/LaunchItem.h"

namespace Core {

class LaunchItemsFinderDelegate {
public:
    virtual ~LaunchItemsFinderDelegate() = default;
    virtual void launchItemsFinderDidFind(const LaunchItem& item) = 0;
    virtual void launchItemsFinderDidFinish() = 0;
};

}  // namespace Core
