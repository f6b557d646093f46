#include "platform/SystemVersion.h"

#include "support/TempDir.h"

#include "platform/PropertyList.h"

#include <gtest/gtest.h>

namespace {

using testing_support::TempDir;

class SystemVersionTest : public testing::Test {
protected:
    void writeVersion(const platform::PlistValue& value) {
        testing_support::writeFile(dir / "System/Library/CoreServices/SystemVersion.plist",
                                   platform::toBinaryPropertyList(
                                       platform::PlistValue(platform::PlistValue::Dictionary{{"ProductVersion", value}})));
    }
    long major() { return platform::operatingSystemVersion().majorVersion; }

    TempDir dir;
    testing_support::ScopedLayout layout{dir.str(), dir / "home"};
};

TEST_F(SystemVersionTest, ReadsProductVersionUnderTheRoot) {
    writeVersion("12.6.1");
    auto version = platform::operatingSystemVersion();
    EXPECT_EQ(version.majorVersion, 12);
    EXPECT_EQ(version.minorVersion, 6);
    EXPECT_EQ(version.patchVersion, 1);

    writeVersion("15");
    version = platform::operatingSystemVersion();
    EXPECT_EQ(version.majorVersion, 15);
    EXPECT_EQ(version.minorVersion, 0);

    writeVersion("11.x");
    EXPECT_EQ(major(), 11) << "a part that isn't a number counts 0";
    EXPECT_EQ(platform::operatingSystemVersion().minorVersion, 0);
}

TEST_F(SystemVersionTest, AnythingUnreadableIsThirteen) {
    EXPECT_EQ(major(), 13) << "no file";
    writeVersion(int64_t(12));
    EXPECT_EQ(major(), 13) << "not a string";
    writeVersion("beta");
    EXPECT_EQ(major(), 13);
    writeVersion("-12.1");
    EXPECT_EQ(major(), 13);
    writeVersion("99999999999999999999999.1");
    EXPECT_EQ(major(), 13);
    testing_support::writeFile(dir / "System/Library/CoreServices/SystemVersion.plist", "garbage");
    EXPECT_EQ(major(), 13);
}

}  // namespace
