#include "disk/DiskInfoReader.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sys/statvfs.h>

#include <filesystem>

namespace fs = std::filesystem;
using testing_support::TempDir;
using testing_support::writeFile;

namespace {

TEST(DiskInfoReaderTest, ReadNeverReportsLessThanStatvfs) {
    auto info = Core::DiskInfoReader::shared().read();
    ASSERT_TRUE(info.has_value());
    struct statvfs st {};
    ASSERT_EQ(::statvfs("/", &st), 0);
    EXPECT_GE(info->freeSize, int64_t(st.f_bavail) * int64_t(st.f_frsize) - (int64_t(64) << 20))
        << "free space moves while the test runs, but not by 64 MiB";
    EXPECT_EQ(info->totalSize, int64_t(st.f_blocks) * int64_t(st.f_frsize));
}

TEST(DiskInfoReaderTest, MountTableEscapesAreDecodedAndEveryEntryListed) {
    EXPECT_EQ(Core::internal::decodeMountField("/mnt/my\\040disk"), "/mnt/my disk");
    EXPECT_EQ(Core::internal::decodeMountField("/a\\011b\\134c"), "/a\tb\\c");
    EXPECT_EQ(Core::internal::decodeMountField("/odd\\04"), "/odd\\04");  // cut short: left as it is

    TempDir dir;
    fs::create_directory(dir / "my disk");
    writeFile(dir / "mounts", "rootfs / rootfs rw 0 0\nnone " + dir.str() +
                                  "/my\\040disk tmpfs rw 0 0\nnone /no/such/place tmpfs rw 0 0\n");
    auto volumes = Core::internal::mountedVolumesFrom(dir / "mounts");
    ASSERT_EQ(volumes.size(), 3u);
    EXPECT_GT(volumes.at("/"), 0u);
    EXPECT_GT(volumes.at(dir / "my disk"), 0u);
    EXPECT_EQ(volumes.at("/no/such/place"), 0u);
    EXPECT_TRUE(Core::internal::mountedVolumesFrom(dir / "missing").empty());
    EXPECT_TRUE(Core::getMountedVolumesInfo().contains("/proc"));
}

// A sysfs of the test's own: a partition answers for its whole disk.
TEST(DiskInfoReaderTest, SolidStateComesFromTheDiskOfAPartition) {
    TempDir sys;
    auto disk = [&](const std::string& name, const char* rotational) {
        fs::create_directories(sys / ("devices/pci0/block/" + name + "/queue"));
        writeFile(sys / ("devices/pci0/block/" + name + "/queue/rotational"), std::string(rotational) + "\n");
        fs::create_directories(sys / ("devices/pci0/block/" + name + "/" + name + "1"));
        fs::create_directories(sys / "class/block");
        fs::create_directory_symlink("../../devices/pci0/block/" + name, sys / ("class/block/" + name));
        fs::create_directory_symlink("../../devices/pci0/block/" + name + "/" + name + "1",
                                     sys / ("class/block/" + name + "1"));
    };
    disk("nvme0n1", "0");
    disk("sda", "1");
    std::string classBlock = sys / "class/block";
    EXPECT_TRUE(Core::internal::isSolidStateIn(classBlock, "nvme0n1"));
    EXPECT_TRUE(Core::internal::isSolidStateIn(classBlock, "nvme0n11"));
    EXPECT_TRUE(Core::internal::isSolidStateIn(classBlock, "/dev/nvme0n11"));
    EXPECT_FALSE(Core::internal::isSolidStateIn(classBlock, "sda1"));
    EXPECT_FALSE(Core::internal::isSolidStateIn(classBlock, "sdz"));
    EXPECT_FALSE(Core::internal::isSolidStateIn(classBlock, ".."));
    EXPECT_FALSE(Core::isSolidState("no-such-disk"));
}

}  // namespace
