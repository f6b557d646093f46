#include "platform/ByteCountFormatter.h"
#include "platform/Rounding.h"
#include "platform/Layout.h"
#include "platform/Strings.h"
#include "platform/URL.h"
#include "platform/internal/RegularFile.h"
#include "support/TempDir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <unordered_set>

using platform::URL;

TEST(ByteCountFormatterTest, FollowsThePlatformDefaults) {
    EXPECT_EQ(platform::formatByteCount(0), "Zero KB");
    EXPECT_EQ(platform::formatByteCount(1), "1 byte");
    EXPECT_EQ(platform::formatByteCount(999), "999 bytes");
    EXPECT_EQ(platform::formatByteCount(1000), "1 KB");
    EXPECT_EQ(platform::formatByteCount(1499), "1 KB");
    EXPECT_EQ(platform::formatByteCount(1500), "2 KB");
    EXPECT_EQ(platform::formatByteCount(999'499), "999 KB");
    EXPECT_EQ(platform::formatByteCount(999'999), "1 MB");
    EXPECT_EQ(platform::formatByteCount(1'234'567), "1.2 MB");
    EXPECT_EQ(platform::formatByteCount(2'000'000), "2 MB");
    EXPECT_EQ(platform::formatByteCount(1'234'567'890), "1.23 GB");
    EXPECT_EQ(platform::formatByteCount(1'500'000'000), "1.5 GB");
    EXPECT_EQ(platform::formatByteCount(3'000'000'000'000), "3 TB");
    EXPECT_EQ(platform::formatByteCount(-2), "-2 bytes");
    EXPECT_EQ(platform::formatByteCount(INT64_MIN), "-9.22 EB");
}

TEST(RoundingTest, HalvesGoAwayFromZeroAndNothingLessRoundsUp) {
    EXPECT_EQ(platform::roundToWhole(2.5), 3);
    EXPECT_EQ(platform::roundToWhole(-2.5), -3);
    EXPECT_EQ(platform::roundToWhole(-2.4), -2);
    EXPECT_EQ(platform::roundToWhole(0.49999999999999994), 0) << "adding a half first would give 1";
}

TEST(StringsTest, CaseInsensitiveCompareAndLowercase) {
    EXPECT_EQ(platform::caseInsensitiveCompare("Com.Apple.Safari", "com.apple.safari"), 0);
    EXPECT_EQ(platform::caseInsensitiveCompare("a", "B"), -1);
    EXPECT_EQ(platform::caseInsensitiveCompare("b", "A"), 1);
    EXPECT_EQ(platform::caseInsensitiveCompare("ab", "A"), 1);
    EXPECT_EQ(platform::caseInsensitiveCompare("ÄRGER", "ärger"), 0);
    EXPECT_EQ(platform::caseInsensitiveCompare("Straße", "STRASSE"), 0) << "full case folding";
    EXPECT_EQ(platform::lowercase("MiXeD.Case"), "mixed.case");
    EXPECT_EQ(platform::lowercase("ÖL"), "öl");
    EXPECT_TRUE(platform::isValidUTF8("plain ü"));
    EXPECT_FALSE(platform::isValidUTF8(std::string("\xC3\x28", 2)));
}

TEST(StringsTest, SplitDropsEmptyPieces) {
    using Pieces = std::vector<std::string_view>;
    EXPECT_EQ(platform::splitNonEmpty("/a//b/", '/'), (Pieces{"a", "b"}));
    EXPECT_EQ(platform::splitNonEmpty("com.example.", '.'), (Pieces{"com", "example"}));
    EXPECT_EQ(platform::splitNonEmpty("x", '/'), (Pieces{"x"}));
    EXPECT_TRUE(platform::splitNonEmpty("//", '/').empty());
    EXPECT_TRUE(platform::splitNonEmpty("", '/').empty());
}

// Whole files up to the cap, from the start whatever the offset; a file whose
// size says 0 (as /proc's do) is read to its end all the same.
TEST(RegularFileTest, ReadsWholeFilesUpToTheCapAndNothingElse) {
    using platform::internal::readRegularFile;
    testing_support::TempDir dir;
    std::string bytes(70000, 'x');
    testing_support::writeFile(dir / "f", bytes);
    int fd = ::open((dir / "f").c_str(), O_RDONLY | O_CLOEXEC);
    ::lseek(fd, 5, SEEK_SET);
    EXPECT_EQ(readRegularFile(fd, bytes.size()), bytes);
    EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), 5);
    EXPECT_FALSE(readRegularFile(fd, bytes.size() - 1));
    ::close(fd);
    EXPECT_FALSE(readRegularFile(dir.str(), 1 << 20)) << "a folder";
    EXPECT_NE(readRegularFile("/proc/self/status", 1 << 20).value_or("").find("Name:"), std::string::npos);
    EXPECT_FALSE(readRegularFile("/proc/self/status", 10));
}

TEST(URLTest, ComponentsAndParents) {
    URL url = URL::fileURL("/Users/a/Library/Caches/com.x.App.plist");
    EXPECT_EQ(url.lastPathComponent(), "com.x.App.plist");
    EXPECT_EQ(url.pathExtension(), "plist");
    EXPECT_EQ(url.deletingPathExtension().path(), "/Users/a/Library/Caches/com.x.App");
    EXPECT_EQ(url.deletingLastPathComponent().path(), "/Users/a/Library/Caches");
    EXPECT_EQ(URL::fileURL("/a").deletingLastPathComponent().path(), "/");
    EXPECT_EQ(URL::fileURL("/").deletingLastPathComponent().path(), "/");
    EXPECT_EQ(URL::fileURL("/x/.hidden").pathExtension(), "");
    EXPECT_EQ(URL::fileURL("/x/dir/").path(), "/x/dir");
    EXPECT_EQ(URL::fileURL("/x").appending("y/z").path(), "/x/y/z");
    EXPECT_EQ(URL::fileURL("/").appending("y").path(), "/y");
}

TEST(URLTest, AbsoluteStringPercentEncodes) {
    EXPECT_EQ(URL::fileURL("/Library/Application Support/ü#1").absoluteString(),
              "file:///Library/Application%20Support/%C3%BC%231");
    EXPECT_EQ(URL::fileURL("/tmp/dir", true).absoluteString(), "file:///tmp/dir/");
    std::unordered_set<URL> set{URL::fileURL("/a", true), URL::fileURL("/a/")};
    EXPECT_EQ(set.size(), 1u);
}

TEST(LayoutTest, SystemPathsGoUnderTheRoot) {
    platform::Layout layout;
    EXPECT_EQ(layout.systemPath("/Applications"), "/Applications");
    layout.setRoot("/tmp/r/");
    layout.setHome("/home/u/");
    EXPECT_EQ(layout.systemPath("/Applications"), "/tmp/r/Applications");
    EXPECT_EQ(layout.localLibrary(), "/tmp/r/Library");
    EXPECT_EQ(layout.userLibrary(), "/home/u/Library");
    EXPECT_EQ(layout.systemPath("relative/x"), "relative/x");
    EXPECT_EQ(layout.trashFolders().front(), "/home/u/.Trash");
    layout.setUserLibrary("/elsewhere/Lib");
    EXPECT_EQ(layout.userLibrary(), "/elsewhere/Lib");
}
