#include "disk/DiskInfo.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/statvfs.h>

namespace {

TEST(DiskInfoTest, ReadsTheVolumeOfTheLayoutRoot) {
    testing_support::TempDir dir;
    testing_support::ScopedLayout layout(dir.str(), dir.str());
    struct statvfs st {};
    ASSERT_EQ(::statvfs(dir.str().c_str(), &st), 0);
    auto info = Core::GetDiskInfo();
    ASSERT_TRUE(info);
    EXPECT_EQ(info->totalSize, static_cast<int64_t>(st.f_blocks) * static_cast<int64_t>(st.f_frsize));
    EXPECT_GT(info->totalSize, 0);
    EXPECT_LE(info->freeSize, info->totalSize);
}

TEST(DiskInfoTest, AMissingRootGivesNothing) {
    testing_support::TempDir dir;
    testing_support::ScopedLayout layout(dir / "gone", dir.str());
    EXPECT_FALSE(Core::GetDiskInfo());
}

}  // namespace
