// Bundles with nested helpers, frameworks with versions, plug-ins and
// wrapped iOS applications with their UUID-named containers.
#include "Core/apps/AppBundleLoader.h"
#include "Core/apps/IOSAppUUIDMapper.h"
#include "Core/apps/MacAppBundle.h"
#include "Core/apps/WrappedBundle.h"

#include "support/BundleBuilder.h"
#include "support/MacTreeBuilder.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

namespace {

using Core::CaseInsensitiveString;
using testing_support::BundleContents;
using testing_support::writeBundle;
using Ids = std::vector<CaseInsensitiveString>;

platform::URL url(const std::string& path) { return platform::URL::fileURL(path); }

std::vector<std::string> origins(const Ids& ids) {
    std::vector<std::string> out;
    for (const auto& id : ids) out.push_back(id.origin());
    return out;
}

constexpr const char* kUUID1 = "0A1B2C3D-4E5F-6789-ABCD-EF0123456789";
constexpr const char* kUUID2 = "11111111-2222-3333-4444-555555555555";
constexpr const char* kUUID3 = "aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee";

TEST(MacAppBundleTest, WalkFindsNestedHelpersPlugInsAndFrameworkVersions) {
    testing_support::TempDir dir;
    const std::string app = dir / "App.app";
    const std::string contents = app + "/Contents";
    writeBundle(app, BundleContents("com.x.app").named("App"));
    const std::string kit = contents + "/Frameworks/Kit.framework";
    writeBundle(kit + "/Versions/A/XPCServices/Fetch.xpc", BundleContents("com.x.fetch").named("Fetch"));
    writeBundle(kit + "/Versions/B/Updater.app", BundleContents("com.x.updater").named("Updater").binary());
    std::filesystem::create_directory_symlink("A", kit + "/Versions/Current");
    writeBundle(contents + "/Library/LoginItems/Login.app", BundleContents("com.x.login").named("Login"));
    writeBundle(contents + "/PlugIns/Named.appex", BundleContents("com.x.named"));
    writeBundle(contents + "/PlugIns/Share.appex", BundleContents("com.x.share").named("Share"));
    writeBundle(contents + "/PlugIns/Share.appex/Contents/XPCServices/Inner.xpc",
                BundleContents("com.x.share.inner").named("Inner"));
    // Not applications, so neither they nor what they hold count.
    writeBundle(contents + "/PlugIns/NoExe.bundle", BundleContents("com.x.noexe").withExecutable(""));
    writeBundle(contents + "/PlugIns/NoExe.bundle/Contents/PlugIns/Deep.appex", BundleContents("com.x.deep"));
    writeBundle(contents + "/PlugIns/Odd.app", BundleContents("com.x.odd").executableIn("Tools"));
    // Outside the folders the walk enters.
    writeBundle(contents + "/Resources/Hidden.app", BundleContents("com.x.hidden"));
    // A link back to the bundle must not lead the walk round.
    std::filesystem::create_directory_symlink(app, contents + "/PlugIns/Loop.app");

    auto bundle = Core::MacAppBundle::load(url(app));
    ASSERT_TRUE(bundle);
    EXPECT_EQ(origins(bundle->bundleIDs()), (std::vector<std::string>{"com.x.app"}));
    bundle->loadNestedBundles();
    EXPECT_EQ(origins(bundle->bundleIDs()),
              (std::vector<std::string>{"com.x.app", "com.x.fetch", "com.x.updater", "com.x.login", "com.x.named",
                                        "com.x.share", "com.x.share.inner"}));
    EXPECT_EQ(origins(bundle->bundleNames()),
              (std::vector<std::string>{"App", "Fetch", "Updater", "Login", "Named.appex", "Share", "Inner"}));
}

TEST(MacAppBundleTest, OnlyApplicationsLoad) {
    testing_support::TempDir dir;
    writeBundle(dir / "Plain.app", BundleContents("com.x.plain"));
    auto plain = Core::MacAppBundle::load(url(dir / "Plain.app"));
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->bundleID(), CaseInsensitiveString("COM.X.PLAIN"));
    EXPECT_EQ(origins(plain->bundleNames()), (std::vector<std::string>{"Plain.app"}));

    writeBundle(dir / "NotInMacOS.app", BundleContents("com.x.a").executableIn(""));
    writeBundle(dir / "Flat.app", BundleContents("com.x.b").flatForm());
    writeBundle(dir / "NoID.app", BundleContents());
    EXPECT_FALSE(Core::MacAppBundle::load(url(dir / "NotInMacOS.app")));
    EXPECT_FALSE(Core::MacAppBundle::load(url(dir / "Flat.app")));
    EXPECT_FALSE(Core::MacAppBundle::load(url(dir / "NoID.app")));
    EXPECT_FALSE(Core::MacAppBundle::load(url(dir / "Missing.app")));
}

class WrappedBundleTest : public testing::Test {
protected:
    void SetUp() override {
        tree.useLayout();
        // The wrapper's "WrappedBundle" is a link to the flat application.
        const std::string wrapped = tree.root() + "/Wrapper/Game.app";
        writeBundle(wrapped, BundleContents("com.ios.game").named("Game").flatForm());
        writeBundle(wrapped + "/PlugIns/Widget.appex", BundleContents("com.ios.game.widget").withExecutable("").flatForm());
        writeBundle(wrapped + "/PlugIns/NoID.appex", BundleContents().flatForm());
        testing_support::writeFile(wrapped + "/PlugIns/readme.txt", "x");
        std::filesystem::create_directories(outer);
        std::filesystem::create_directory_symlink(wrapped, outer + "/WrappedBundle");

        const std::string containers = tree.library("Containers/");
        testing_support::writeContainerMetadata(containers + kUUID1, "COM.IOS.GAME");
        testing_support::writeContainerMetadata(containers + kUUID2, "com.ios.game.widget");
        testing_support::writeContainerMetadata(containers + kUUID3, "com.other.app");
        testing_support::writeContainerMetadata(containers + "not-a-uuid", "com.ios.game");
        std::filesystem::create_directories(containers + "22222222-2222-3333-4444-555555555555");
    }
    testing_support::MacTreeBuilder tree;
    std::string outer = tree.root() + "/Applications/Game.app";
};

TEST_F(WrappedBundleTest, IdentifiersAreTheAppItsPlugInsAndTheirContainers) {
    Core::AppBundleLoader loader;
    auto bundle = loader.load(url(outer));
    ASSERT_TRUE(bundle);
    ASSERT_TRUE(dynamic_cast<Core::WrappedBundle*>(bundle.get()));
    EXPECT_EQ(bundle->bundleID(), CaseInsensitiveString("com.ios.game"));
    EXPECT_EQ(origins(bundle->bundleIDs()),
              (std::vector<std::string>{"com.ios.game", "com.ios.game.widget", kUUID1, kUUID2}));
    EXPECT_EQ(origins(bundle->bundleNames()), (std::vector<std::string>{"Game"}));
}

TEST_F(WrappedBundleTest, AnOrdinaryApplicationComesFirstAndOtherFoldersAreNone) {
    // An application form beside "WrappedBundle" makes it a MacAppBundle.
    writeBundle(outer, BundleContents("com.mac.game"));
    Core::AppBundleLoader loader;
    auto bundle = loader.load(url(outer));
    ASSERT_TRUE(bundle);
    EXPECT_TRUE(dynamic_cast<Core::MacAppBundle*>(bundle.get()));
    EXPECT_EQ(bundle->bundleID(), CaseInsensitiveString("com.mac.game"));

    writeBundle(tree.root() + "/Applications/Empty.app/WrappedBundle", BundleContents().flatForm());
    EXPECT_FALSE(loader.load(url(tree.root() + "/Applications/Empty.app")));
    EXPECT_FALSE(loader.load(url(tree.root() + "/Applications")));
}

TEST_F(WrappedBundleTest, MapperReadsOnceUntilClearedAndServesManyThreads) {
    Core::IOSAppUUIDMapper mapper;
    EXPECT_EQ(mapper.uuidNames("com.ios.game"), (std::vector<std::string>{kUUID1}));
    const std::string later = "33333333-2222-3333-4444-555555555555";
    testing_support::writeContainerMetadata(tree.library("Containers/") + later, "com.ios.game");
    EXPECT_EQ(mapper.uuidNames("com.ios.game").size(), 1u) << "the folders are read once";

    mapper.clear();
    std::vector<std::thread> threads;
    std::vector<std::vector<std::string>> seen(4);
    for (size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&, i] { seen[i] = mapper.uuidNames("com.IOS.game"); });
    for (auto& t : threads) t.join();
    for (const auto& names : seen) EXPECT_EQ(names, (std::vector<std::string>{kUUID1, later}));
    EXPECT_EQ(mapper.uuids().size(), 3u);
}

TEST(IOSAppUUIDMapperTest, UUIDNames) {
    EXPECT_TRUE(Core::IOSAppUUIDMapper::isUUID(kUUID1));
    EXPECT_TRUE(Core::IOSAppUUIDMapper::isUUID(kUUID3));
    EXPECT_FALSE(Core::IOSAppUUIDMapper::isUUID("0A1B2C3D-4E5F-6789-ABCD-EF012345678"));
    EXPECT_FALSE(Core::IOSAppUUIDMapper::isUUID("0A1B2C3D-4E5F-6789-ABCD-EF01234567890"));
    EXPECT_FALSE(Core::IOSAppUUIDMapper::isUUID("0A1B2C3D4E5F-6789-ABCD-EF0123456789-"));
    EXPECT_FALSE(Core::IOSAppUUIDMapper::isUUID("GA1B2C3D-4E5F-6789-ABCD-EF0123456789"));
    EXPECT_FALSE(Core::IOSAppUUIDMapper::isUUID(""));
}

}  // namespace
