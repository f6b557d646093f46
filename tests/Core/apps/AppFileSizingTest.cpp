#include "Core/apps/AppFileSizing.h"

#include "Core/files/FileManager.h"
#include "platform/MetadataIndex.h"
#include "support/ScopedShared.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace {

using namespace Core;

// An index that knows one size for every item, or none.
struct FixedIndex final : platform::MetadataIndex {
    std::optional<int64_t> size;
    std::optional<int64_t> itemSize(const std::string&) const override { return size; }
};

using ScopedIndex = testing_support::ScopedShared<platform::MetadataIndex>;

TEST(AppFileSizingTest, BundlesTakeTheIndexSizeUnlessItIsMissingOrBelowTwo) {
    testing_support::TempDir temp;
    testing_support::writeFileOfSize(temp / "Notes.app/Contents/MacOS/Notes", 5000);
    const auto bundle = platform::URL::fileURL(temp / "Notes.app");
    const int64_t onDisk = sizeBundleFiles({bundle}).at(0).size();  // the stand-in index: blocks allocated
    EXPECT_GE(onDisk, 5000);

    auto index = std::make_shared<FixedIndex>();
    ScopedIndex scoped(index);
    index->size = 123456;
    EXPECT_EQ(sizeBundleFiles({bundle}).at(0).size(), 123456);
    for (auto fallback : {std::optional<int64_t>(), std::optional<int64_t>(1), std::optional<int64_t>(0)}) {
        index->size = fallback;
        EXPECT_EQ(sizeBundleFiles({bundle}).at(0).size(), FileManager::size(bundle)) << fallback.value_or(-1);
    }
}

}  // namespace
