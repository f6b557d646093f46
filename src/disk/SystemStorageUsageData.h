#pragma once
// SystemStorageUsageData: the capacity and the available space of the
// volume that holds the user's home, as the disk map's header shows them.
//
// Threading: a plain value.
//
//   auto usage = provider->systemStorageUsage();
//   show(usage.usedSize(), usage.totalSize);

#include <cstdint>

namespace Core {

struct SystemStorageUsageData {
    uint64_t availableSize = 0;  // bytes
    uint64_t totalSize = 0;      // bytes
    // Total less available; 0 when a volume reports more free than total.
    uint64_t usedSize() const { return totalSize > availableSize ? totalSize - availableSize : 0; }
};

}  // namespace Core
