#include "platform/Bundle.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using platform::PlistValue;
using testing_support::TempDir;
using testing_support::writeFile;

void writeInfo(const std::string& path, PlistValue::Dictionary entries, bool binary = false) {
    PlistValue info(std::move(entries));
    writeFile(path, binary ? platform::toBinaryPropertyList(info) : platform::toXmlPropertyList(info));
}

platform::URL url(const std::string& path) { return platform::URL::fileURL(path); }

TEST(BundleTest, ApplicationFormNeedsAnExecutableInMacOS) {
    TempDir dir;
    const std::string app = dir / "Tool.app";
    writeInfo(app + "/Contents/Info.plist", {{"CFBundleIdentifier", "com.x.tool"}, {"CFBundleExecutable", "Tool"}}, true);
    EXPECT_FALSE(platform::readApplicationBundle(url(app))) << "the executable does not exist yet";

    writeFile(app + "/Contents/MacOS/Tool", "");
    auto info = platform::readApplicationBundle(url(app));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->identifier, "com.x.tool");
    EXPECT_EQ(info->name, "Tool.app") << "no CFBundleName: the last component, extension included";
}

TEST(BundleTest, NonStringKeysCountAsAbsent) {
    TempDir dir;
    const std::string app = dir / "A.app";
    writeFile(app + "/Contents/MacOS/A", "");
    writeInfo(app + "/Contents/Info.plist",
              {{"CFBundleIdentifier", int64_t(7)}, {"CFBundleExecutable", "A"}, {"CFBundleName", "Named"}});
    EXPECT_FALSE(platform::readApplicationBundle(url(app)));
    auto bundle = platform::openBundle(url(app));
    ASSERT_TRUE(bundle);
    EXPECT_FALSE(bundle->identifier);
    EXPECT_TRUE(bundle->executableURL);

    writeInfo(app + "/Contents/Info.plist",
              {{"CFBundleIdentifier", "com.a"}, {"CFBundleExecutable", "A"}, {"CFBundleName", PlistValue(true)}});
    auto info = platform::readApplicationBundle(url(app));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->name, "A.app");
}

TEST(BundleTest, FlatFormIsABundleButNoApplication) {
    TempDir dir;
    const std::string flat = dir / "Wrapper/WrappedBundle";
    writeInfo(flat + "/Info.plist", {{"CFBundleIdentifier", "com.ios.game"}, {"CFBundleExecutable", "Game"}});
    writeFile(flat + "/Game", "");
    auto bundle = platform::openBundle(url(flat));
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->identifier, "com.ios.game");
    ASSERT_TRUE(bundle->executableURL);
    EXPECT_EQ(bundle->executableURL->path(), flat + "/Game");
    EXPECT_FALSE(platform::readApplicationBundle(url(flat))) << "its executable is not under MacOS";
}

TEST(BundleTest, UnreadableFoldersAreNoBundle) {
    TempDir dir;
    EXPECT_FALSE(platform::openBundle(url(dir / "missing.app")));
    writeFile(dir / "Broken.app/Contents/Info.plist", "not a property list");
    EXPECT_FALSE(platform::openBundle(url(dir / "Broken.app")));
    writeInfo(dir / "Empty.app/Contents/Info.plist", {});
    auto empty = platform::openBundle(url(dir / "Empty.app"));
    ASSERT_TRUE(empty);
    EXPECT_FALSE(empty->identifier);
    EXPECT_FALSE(empty->executableURL);
}

}  // namespace
