#include "platform/FileTypes.h"
#include "platform/PropertyList.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

namespace {

using testing_support::TempDir;
using testing_support::writeFile;

TEST(FileTypes, ExtensionsAreLookedUpWithoutCase) {
    EXPECT_EQ(platform::typeIdentifierForExtension("jpg"), "public.jpeg");
    EXPECT_EQ(platform::typeIdentifierForExtension("JPEG"), "public.jpeg");
    EXPECT_EQ(platform::typeIdentifierForExtension("HeIc"), "public.heic");
    EXPECT_EQ(platform::typeIdentifierForExtension("zip"), "public.zip-archive");
    EXPECT_FALSE(platform::typeIdentifierForExtension("nonesuch"));
    EXPECT_FALSE(platform::typeIdentifierForExtension(""));
    // The table is searched by halves: every image type must be reachable.
    for (const char* ext : {"3gp", "arw", "bmp", "cr2", "dng", "gif", "png", "psd", "tif", "webp", "xml"})
        EXPECT_TRUE(platform::typeIdentifierForExtension(ext)) << ext;
}

TEST(FileTypes, ItemsAreTypedByNameThenContentThenKind) {
    TempDir dir;
    writeFile(dir / "a.PNG", "not really a png");
    writeFile(dir / "noext", "\xFF\xD8\xFF\xE0 jpeg data");
    writeFile(dir / "plain", "text");
    writeFile(dir / "odd.unknownext", "GIF89a...");
    std::filesystem::create_directories(dir / "folder");
    std::filesystem::create_directories(dir / "Thing.app");
    std::filesystem::create_directories(dir / "Stuff.sparsebundle");
    std::filesystem::create_symlink("a.PNG", dir / "link.png");

    EXPECT_EQ(platform::typeIdentifier(dir / "a.PNG"), "public.png");
    EXPECT_EQ(platform::typeIdentifier(dir / "noext"), "public.jpeg");
    EXPECT_EQ(platform::typeIdentifier(dir / "plain"), "public.data");
    EXPECT_EQ(platform::typeIdentifier(dir / "odd.unknownext"), "com.compuserve.gif");
    EXPECT_EQ(platform::typeIdentifier(dir / "folder"), "public.folder");
    EXPECT_EQ(platform::typeIdentifier(dir / "Thing.app"), "com.apple.application-bundle");
    EXPECT_EQ(platform::typeIdentifier(dir / "Stuff.sparsebundle"), "com.apple.package");
    EXPECT_EQ(platform::typeIdentifier(dir / "link.png"), "public.symlink");
    EXPECT_FALSE(platform::typeIdentifier(dir / "missing.png"));
}

TEST(FileTypes, OnlyTheSignaturesOfDecodableFormatsNameAFormat) {
    using platform::ImageFormat;
    using namespace std::string_literals;
    EXPECT_EQ(platform::imageFormatForContent("\xFF\xD8\xFF\xE1rest"), ImageFormat::jpeg);
    EXPECT_EQ(platform::imageFormatForContent("\x89PNG\r\n\x1A\n\0\0\0\x0D"s), ImageFormat::png);
    EXPECT_EQ(platform::imageFormatForContent("GIF87a"), ImageFormat::gif);
    EXPECT_EQ(platform::imageFormatForContent("RIFF\x10\0\0\0WEBPVP8 "s), ImageFormat::webp);
    EXPECT_EQ(platform::imageFormatForContent("MM\0*\0\0\0\x08"s), ImageFormat::tiff);
    EXPECT_EQ(platform::imageFormatForContent("\0\0\0\x18" "ftypheic"s), ImageFormat::heif);
    EXPECT_EQ(platform::imageFormatForContent("\0\0\0\x1C" "ftypavifXX"s), ImageFormat::heif);
    // Known, but read by no loader of ours; and what a name alone promises.
    for (std::string head : {"%PDF-1.7"s, "PK\x03\x04"s, "BM\0\0"s, "8BPS"s, "RIFF\x10\0\0\0WAVE"s, ""s, "\xFF\xD8"s})
        EXPECT_FALSE(platform::imageFormatForContent(head)) << head;
    // A signature must start the file.
    EXPECT_FALSE(platform::imageFormatForContent(" \xFF\xD8\xFF"));

    EXPECT_EQ(platform::imageFormatForTypeIdentifier("public.jpeg"), ImageFormat::jpeg);
    EXPECT_EQ(platform::imageFormatForTypeIdentifier("public.avif"), ImageFormat::heif);
    EXPECT_FALSE(platform::imageFormatForTypeIdentifier("com.adobe.pdf")) << "an image type, not decoded";
    EXPECT_FALSE(platform::imageFormatForTypeIdentifier("public.JPEG"));
    // A name promises, the first bytes of the open file tell.
    EXPECT_EQ(platform::imageFormatForName("/p/a.b/IMG.JPG"), ImageFormat::jpeg);
    EXPECT_FALSE(platform::imageFormatForName("/p/scan.pdf"));
    EXPECT_FALSE(platform::imageFormatForName("/p.png/noext"));
    EXPECT_FALSE(platform::imageFormatForName("/p/.png"));
    TempDir dir;
    writeFile(dir / "zip.png", "PK\x03\x04 and more");
    writeFile(dir / "gif.jpg", "GIF89a and more");
    EXPECT_FALSE(platform::ReadableFile((dir / "zip.png").c_str()).imageFormat());
    EXPECT_EQ(platform::ReadableFile((dir / "gif.jpg").c_str()).imageFormat(), ImageFormat::gif);
    platform::ReadableFile missing((dir / "missing.jpg").c_str());
    EXPECT_EQ(missing.fd(), -1);
    EXPECT_FALSE(missing.imageFormat());

    const auto& listed = platform::imageTypeIdentifiers();
    EXPECT_TRUE(std::is_sorted(listed.begin(), listed.end()));
    for (const std::string& type : listed) EXPECT_TRUE(platform::imageFormatForTypeIdentifier(type)) << type;
}

TEST(FileTypes, PackagesAreFoldersWithAPackageExtension) {
    TempDir dir;
    std::filesystem::create_directories(dir / "Mail.APP");
    std::filesystem::create_directories(dir / "Photos Library.photoslibrary");
    std::filesystem::create_directories(dir / "plain.d");
    std::filesystem::create_directories(dir / ".app");
    writeFile(dir / "file.app", "");
    EXPECT_TRUE(platform::isPackage(dir / "Mail.APP"));
    EXPECT_TRUE(platform::isPackage(dir / "Photos Library.photoslibrary"));
    EXPECT_FALSE(platform::isPackage(dir / "plain.d"));
    EXPECT_FALSE(platform::isPackage(dir / ".app")) << "a leading dot marks a hidden name, not an extension";
    EXPECT_FALSE(platform::isPackage(dir / "file.app"));
    EXPECT_FALSE(platform::isPackage(dir / "missing.app"));
    EXPECT_FALSE(platform::isPackage(dir / "bad\xff.app"));
}

TEST(PropertyList, RoundTripsEveryKindInBothForms) {
    using V = platform::PlistValue;
    V tree(V::Dictionary{
        {"flag", true},
        {"count", int64_t(-42)},
        {"ratio", 2.5},
        {"name", "Ünïcode"},
        {"blob", V::Data{0, 1, 2, 255}},
        {"when", V::Date{1.6e9}},
        {"list", V::Array{1, "two", V::Array{}}},
        {"nested", V::Dictionary{{"inner", int64_t(1) << 40}}},
    });
    for (bool binary : {false, true}) {
        std::string bytes = binary ? platform::toBinaryPropertyList(tree) : platform::toXmlPropertyList(tree);
        auto parsed = platform::parsePropertyList(bytes);
        ASSERT_TRUE(parsed) << binary;
        EXPECT_EQ(*parsed->find("flag")->boolean(), true);
        EXPECT_EQ(*parsed->find("count")->integer(), -42);
        EXPECT_EQ(*parsed->find("ratio")->real(), 2.5);
        EXPECT_EQ(*parsed->find("name")->string(), "Ünïcode");
        EXPECT_EQ(*parsed->find("blob")->data(), (V::Data{0, 1, 2, 255}));
        EXPECT_DOUBLE_EQ(parsed->find("when")->date()->secondsSince1970, 1.6e9);
        const auto* list = parsed->find("list")->array();
        ASSERT_TRUE(list && list->size() == 3);
        EXPECT_EQ(*(*list)[1].string(), "two");
        EXPECT_EQ(*parsed->find("nested")->find("inner")->integer(), int64_t(1) << 40);
        EXPECT_EQ(parsed->find("absent"), nullptr);
        EXPECT_EQ(parsed->find("name")->find("x"), nullptr) << "only dictionaries have keys";
    }
}

TEST(PropertyList, NumbersAndRejects) {
    using V = platform::PlistValue;
    EXPECT_EQ(V(true).number(), 1.0);
    EXPECT_EQ(V(7).number(), 7.0);
    EXPECT_FALSE(V("7").number());
    EXPECT_FALSE(platform::parsePropertyList(""));
    EXPECT_FALSE(platform::parsePropertyList("plain words"));
    EXPECT_FALSE(platform::parsePropertyList("bplist00"));
    std::string deep;
    for (int i = 0; i < 2000; ++i) deep += "<array>";
    EXPECT_FALSE(platform::parsePropertyList("<plist>" + deep)) << "unclosed and too deep";
    EXPECT_FALSE(platform::readPropertyListFile("/nonexistent.plist"));
    EXPECT_FALSE(platform::readPropertyListFile("/tmp")) << "a folder is no property list, and reading it must not throw";
    // Strings holding NUL would abort the parser; such documents are refused.
    EXPECT_FALSE(platform::parsePropertyList("<plist><dict><key>a&#x00;b</key><true/></dict></plist>"));
    EXPECT_TRUE(platform::parsePropertyList("<plist><dict><key>a&#x40;b</key><true/></dict></plist>"));
}

}  // namespace
