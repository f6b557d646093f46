// Vendors and groups from their documents, and organizations from the
// public suffix list.
#include "Core/apps/AppGroupManager.h"
#include "Core/apps/PublicSuffixList.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace {

using Core::AppGroup;
using Core::AppVender;
using Core::DecodableGroup;

DecodableGroup record(std::optional<std::string> name, std::optional<std::string> domain,
                      std::vector<std::string> ids = {}) {
    return {std::move(domain), std::move(name), std::move(ids)};
}

TEST(AppGroupManagerTest, VendorByDomainFirstThenByIds) {
    Core::AppGroupManager groups(
        {record("Adobe", "COM.Adobe.", {"com.macromedia.Flash Player.app"}),
         record("Microsoft", "com.microsoft.", {"Com.Skype.Skype", "com.adobe.shared"}),
         // An earlier domain that is a prefix of a later one wins over it.
         record("Google", "com.goo"), record("Apple", "com.google.x"),
         record("Nobody Known", "com.nobody.", {"com.nobody.app"}), record("Box", "", {"com.box.only"})},
        {});
    EXPECT_EQ(groups.getVender("com.adobe.Photoshop"), AppVender::adobe);
    EXPECT_EQ(groups.getVender("COM.ADOBE.shared"), AppVender::adobe) << "the domain wins over another vendor's ids";
    EXPECT_EQ(groups.getVender("com.skype.SKYPE"), AppVender::microsoft);
    EXPECT_EQ(groups.getVender("com.macromedia.flash player.app"), AppVender::adobe);
    EXPECT_EQ(groups.getVender("com.google.x.chrome"), AppVender::google);
    EXPECT_EQ(groups.getVender("com.nobody.app"), AppVender::other) << "unknown vendor names are passed by";
    EXPECT_EQ(groups.getVender("com.box.only"), AppVender::box);
    EXPECT_EQ(groups.getVender("org.anything"), AppVender::other) << "an empty domain claims nothing";
}

TEST(AppGroupManagerTest, GroupsCompareIdsExactlyAndIgnoreDomains) {
    Core::AppGroupManager groups(
        {}, {record("Microsoft Office", "com.microsoft.", {"com.microsoft.Word"}), record("Dropbox", std::nullopt, {"com.getdropbox.dropbox"}),
             record("Microsoft Office", std::nullopt, {"com.microsoft.Excel"}), record(std::nullopt, std::nullopt, {"com.x"})});
    auto word = groups.get("com.microsoft.Word");
    ASSERT_TRUE(word);
    EXPECT_EQ(*word, AppGroup(AppGroup::Case::microsoftOffice));
    EXPECT_EQ(word->groupName(), "Microsoft Office");
    EXPECT_EQ(groups.get("com.microsoft.Excel"), word) << "a group named twice gathers both lists";
    EXPECT_FALSE(groups.get("com.microsoft.word"));
    EXPECT_FALSE(groups.get("com.microsoft.Outlook")) << "the domain of a group record is not used";
    EXPECT_FALSE(groups.get("com.x"));
    auto dropbox = groups.get("com.getdropbox.dropbox");
    ASSERT_TRUE(dropbox);
    EXPECT_EQ(dropbox->groupCase(), AppGroup::Case::other);
    EXPECT_EQ(dropbox->groupName(), "Dropbox");
}

TEST(AppGroupManagerTest, DocumentsFromTheResourcesFolder) {
    testing_support::TempDir dir;
    testing_support::ScopedLayout layout(dir.str(), dir.str());
    layout.setResources(dir.str());
    // No documents at all, then one that doesn't decode: empty tables.
    EXPECT_EQ(Core::AppGroupManager::fromResources().getVender("com.adobe.x"), AppVender::other);
    testing_support::writeFile(dir / "app_vender.yaml", "- name: 'Adobe'\n  domain: [not, a, string]\n");
    testing_support::writeFile(dir / "app_group.yaml", "- name: 'Box'\n  ids: ['com.box.desktop']\n");
    auto partly = Core::AppGroupManager::fromResources();
    EXPECT_EQ(partly.getVender("com.adobe.x"), AppVender::other);
    EXPECT_EQ(partly.get("com.box.desktop"), AppGroup(AppGroup::Case::box));

    layout.setResources(CORE_TEST_RESOURCES_DIR);
    auto shipped = Core::AppGroupManager::fromResources();
    EXPECT_EQ(shipped.getVender("com.adobe.Photoshop"), AppVender::adobe);
    EXPECT_EQ(shipped.getVender("com.googlecode.iterm2"), AppVender::google);
    EXPECT_EQ(shipped.get("com.microsoft.Word")->groupName(), "Microsoft Office");
}

class PublicSuffixListTest : public testing::Test {
protected:
    Core::PublicSuffixList list{
        "// a comment line\n\ncom\nuk\nco.uk\n*.ck\n!www.ck\njp\nco.jp   trailing words are ignored\r\n"
        "blogspot.com\n"};
    std::optional<std::string> org(std::string_view id) { return list.organizationName(id); }
};

TEST_F(PublicSuffixListTest, OrganizationNames) {
    EXPECT_EQ(org("com.apple.Safari"), "apple");
    EXPECT_EQ(org("Com.Apple.Safari"), "Apple") << "the id's spelling is kept";
    EXPECT_EQ(org("com..apple"), "apple") << "empty pieces are dropped";
    EXPECT_EQ(org("uk.co.bbc.iplayer"), "bbc") << "a two-level suffix looks one label further";
    EXPECT_EQ(org("uk.bbc"), "bbc");
    EXPECT_EQ(org("jp.co.epson.scan"), "epson");
    EXPECT_EQ(org("com.blogspot.x"), "x");
    EXPECT_EQ(org("com.blogspot"), std::nullopt) << "no piece left where the walk stops";
}

TEST_F(PublicSuffixListTest, WildcardsAndExceptionsFollowTheTreeOnly) {
    EXPECT_EQ(org("ck.www.example"), "example");
    EXPECT_EQ(org("ck.gov.example"), "gov") << "the wildcard matches only a piece that is \"*\"";
    EXPECT_EQ(org("ck.www"), std::nullopt);
    EXPECT_EQ(org("ck.*.x"), "x");
    EXPECT_EQ(org("ck.*"), std::nullopt);
}

TEST_F(PublicSuffixListTest, TooShortOrUnknown) {
    EXPECT_EQ(org("com"), std::nullopt);
    EXPECT_EQ(org(""), std::nullopt);
    EXPECT_EQ(org("zz.example.app"), std::nullopt);
    EXPECT_EQ(org("uk.co"), std::nullopt);
}

TEST(PublicSuffixListShippedTest, DebianListGivesVendors) {
    testing_support::TempDir dir;
    testing_support::ScopedLayout layout(dir.str(), dir.str());
    layout.setResources(CORE_TEST_RESOURCES_DIR);
    Core::PublicSuffixList list(testing_support::readFile(std::string(CORE_TEST_RESOURCES_DIR) + "/public_suffix_list.dat"));
    EXPECT_EQ(list.organizationName("com.google.Chrome"), "google");
    EXPECT_EQ(list.organizationName("uk.co.bbc.iplayer"), "bbc");
    EXPECT_EQ(list.organizationName("io.github.someone.tool"), "someone");
    EXPECT_EQ(list.organizationName("local.tool"), std::nullopt);
}

}  // namespace
