#pragma once
// A metadata index that knows the sizes a test gives it, installed for the
// life of the object.

#include "platform/FileTypes.h"

#include <map>
#include <memory>
#include <string>

namespace testing_support {

class FakePackageIndex : public platform::PackageIndex {
public:
    platform::IndexedSizes sizes(const std::string& path) const override {
        auto it = entries.find(path);
        return it == entries.end() ? platform::IndexedSizes{} : it->second;
    }
    std::map<std::string, platform::IndexedSizes> entries;
};

class ScopedPackageIndex {
public:
    ScopedPackageIndex() : index(std::make_shared<FakePackageIndex>()) { platform::PackageIndex::setShared(index); }
    ~ScopedPackageIndex() { platform::PackageIndex::setShared(nullptr); }
    ScopedPackageIndex(const ScopedPackageIndex&) = delete;
    ScopedPackageIndex& operator=(const ScopedPackageIndex&) = delete;

    // The index knows `size` bytes in `nodes` items at `path`.
    void set(const std::string& path, long long size, long long nodes = 1) { index->entries[path] = {size, nodes}; }

    std::shared_ptr<FakePackageIndex> index;
};

}  // namespace testing_support
