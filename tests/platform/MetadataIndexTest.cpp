#include "platform/MetadataIndex.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>

namespace fs = std::filesystem;
using platform::MetadataIndex;
using testing_support::allocated;
using testing_support::ScopedLayout;
using testing_support::TempDir;
using testing_support::writeFile;
using testing_support::writeFileOfSize;

namespace {

std::map<std::string, int64_t> asMap(const platform::MetadataAnswer& answer) {
    std::map<std::string, int64_t> out;
    for (const auto& item : answer.value()) out[item.path] = item.size;
    return out;
}

TEST(MetadataIndexTest, PackagesWithTheAllocatedSizesOfTheirFiles) {
    TempDir dir;
    writeFileOfSize(dir / "Apps/Mail.app/Contents/MacOS/Mail", 10000);
    writeFileOfSize(dir / "Apps/Mail.app/Contents/Info.plist", 300);
    fs::create_symlink("/etc/passwd", dir / "Apps/Mail.app/link");
    writeFileOfSize(dir / "Apps/Mail.app/Contents/PlugIns/Inner.bundle/x", 5000);
    writeFileOfSize(dir / "Library/Plug.BUNDLE/y", 1);
    fs::create_directories(dir / "Library/Empty.app/Contents");      // no bytes: left out
    writeFileOfSize(dir / "Library/Void.app/empty", 0);               // nothing allocated: left out
    writeFileOfSize(dir / "Docs/app/z", 100);                         // no extension
    writeFileOfSize(dir / "Docs/notes.app", 100);                     // a file, not a folder

    auto found = asMap(MetadataIndex().packages(dir.str()));
    int64_t inner = allocated(dir / "Apps/Mail.app/Contents/PlugIns/Inner.bundle/x");
    int64_t mail = allocated(dir / "Apps/Mail.app/Contents/MacOS/Mail") +
                   allocated(dir / "Apps/Mail.app/Contents/Info.plist") + inner;
    EXPECT_EQ(found, (std::map<std::string, int64_t>{
                         {dir / "Apps/Mail.app", mail},
                         {dir / "Apps/Mail.app/Contents/PlugIns/Inner.bundle", inner},
                         {dir / "Library/Plug.BUNDLE", allocated(dir / "Library/Plug.BUNDLE/y")},
                     }));
    EXPECT_TRUE(MetadataIndex().packages(dir / "missing").value().empty());
}

TEST(MetadataIndexTest, LargeFilesBelowTheHomeLargestFirstWithLogicalSizes) {
    TempDir dir;
    std::string home = dir / "home";
    writeFileOfSize(home + "/a", 300);
    writeFileOfSize(home + "/deep/b", 5000);
    writeFileOfSize(home + "/c", 299);
    writeFileOfSize(home + "/zero", 0);
    fs::create_symlink(home + "/deep/b", home + "/link");
    writeFileOfSize(home + "/sysroot/Library/big", 100000);   // the layout's root inside the home
    writeFileOfSize(dir / "elsewhere/huge", 100000);           // not below the home
    ScopedLayout layout(home + "/sysroot", home);

    auto answer = MetadataIndex().filesOfAtLeast(300).value();
    ASSERT_EQ(answer.size(), 2u);
    EXPECT_EQ(answer[0].path, home + "/deep/b");
    EXPECT_EQ(answer[0].size, 5000);
    EXPECT_EQ(answer[1].path, home + "/a");  // exactly the minimum
    EXPECT_EQ(answer[1].size, 300);

    auto all = asMap(MetadataIndex().filesOfAtLeast(0));
    EXPECT_EQ(all.size(), 4u);
    EXPECT_TRUE(all.contains(home + "/zero"));
}

TEST(MetadataIndexTest, DiskImagesAreKnownByTheirTrailerNotTheirName) {
    TempDir dir;
    std::string home = dir / "home";
    auto image = [](size_t before, std::string trailer) {
        trailer.resize(512, '\0');
        return std::string(before, 'x') + trailer;
    };
    writeFile(home + "/Downloads/Tool.dmg", image(4096, "koly"));
    writeFile(home + "/renamed.bin", image(0, "koly"));
    writeFile(home + "/fake.dmg", image(4096, "nope"));
    writeFile(home + "/short.dmg", "koly");                   // shorter than a trailer
    writeFile(home + "/early.dmg", "koly" + std::string(600, 'x'));  // magic not in the last 512 bytes
    ScopedLayout layout("/", home);

    auto found = asMap(MetadataIndex().diskImages());
    EXPECT_EQ(found, (std::map<std::string, int64_t>{{home + "/Downloads/Tool.dmg", 4096 + 512},
                                                      {home + "/renamed.bin", 512}}));
}

TEST(MetadataIndexTest, OnlyTheStandInSaysItWalksTheScopeForPackages) {
    struct Derived : MetadataIndex {
        platform::MetadataAnswer packages(const std::string&) const override { return std::nullopt; }
    };
    EXPECT_TRUE(MetadataIndex().walksScopeForPackages());
    EXPECT_FALSE(Derived().walksScopeForPackages());
    EXPECT_FALSE(platform::MetadataIndexWrapper(std::make_shared<MetadataIndex>()).walksScopeForPackages());
}

TEST(MetadataIndexTest, ADoubleReplacesTheSharedIndexUntilRemoved) {
    struct Fake : platform::MetadataIndexWrapper {
        Fake() : MetadataIndexWrapper(MetadataIndex::shared()) {}
        platform::MetadataAnswer diskImages() const override { return std::nullopt; }
    };
    auto standIn = MetadataIndex::shared();
    MetadataIndex::setShared(std::make_shared<Fake>());
    EXPECT_FALSE(MetadataIndex::shared()->diskImages().has_value());
    TempDir dir;
    EXPECT_TRUE(MetadataIndex::shared()->packages(dir.str()).has_value());  // passed on
    MetadataIndex::setShared(nullptr);
    EXPECT_NE(MetadataIndex::shared(), nullptr);
    EXPECT_TRUE(MetadataIndex::shared()->packages(dir.str()).has_value());
}

}  // namespace
