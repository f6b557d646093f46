#include "startup/SpecialLoginItems.h"

#include "StartupFixture.h"
#include "platform/LoginItemsList.h"

#include <gtest/gtest.h>

namespace {

using platform::URL;

class SpecialLoginItemsTest : public testing_support::StartupTest {
protected:
    std::vector<std::string> storedTexts() {
        auto list = platform::LoginItemsList::create();
        EXPECT_TRUE(list);
        std::vector<std::string> texts;
        if (list)
            for (const auto& item : list->copySnapshot().value_or(std::vector<platform::LoginItemsList::Item>{}))
                texts.push_back(item.urlString);
        return texts;
    }
};

TEST_F(SpecialLoginItemsTest, AddPutsTheApplicationFirstOnceAsAFolderURL) {
    const std::string notes = app("Notes", "com.example.Notes");
    const std::string mail = app("Mail Client", "com.example.Mail");
    EXPECT_EQ(Core::sessionLoginItemURLs(), std::vector<URL>{}) << "no list file yet: an empty list";

    EXPECT_TRUE(Core::addSpecialLoginItem(URL::fileURL(notes)));
    EXPECT_TRUE(Core::addSpecialLoginItem(URL::fileURL(mail)));
    EXPECT_TRUE(Core::addSpecialLoginItem(URL::fileURL(notes + "/")));
    EXPECT_EQ(storedTexts(), (std::vector<std::string>{"file://" + notes + "/",
                                                       "file://" + platform::percentEncodePath(mail) + "/"}));
    EXPECT_EQ(Core::sessionLoginItemURLs(), (std::vector<URL>{URL::fileURL(notes), URL::fileURL(mail)}));
}

TEST_F(SpecialLoginItemsTest, RemoveTakesOutWhatResolvesToTheURLAndKeepsTheRest) {
    const std::string notes = app("Notes", "com.example.Notes");
    const std::string mail = app("Mail", "com.example.Mail");
    writeLoginItemsList({"file://" + notes + "/", "file://" + mail + "/", "file://localhost" + notes + "/",
                         "file:///gone/Old.app/"});

    EXPECT_TRUE(Core::removeSpecialLoginItem(URL::fileURL(notes)));
    EXPECT_EQ(storedTexts(), (std::vector<std::string>{"file://" + mail + "/", "file:///gone/Old.app/"}));

    // Not listed, or listed but gone from the disk: nothing to remove, still true.
    EXPECT_TRUE(Core::removeSpecialLoginItem(URL::fileURL(notes)));
    EXPECT_TRUE(Core::removeSpecialLoginItem(URL::fileURL("/gone/Old.app")));
    EXPECT_EQ(storedTexts().size(), 2u);
}

TEST_F(SpecialLoginItemsTest, AListThatCantBeReadIsNeitherChangedNorOverwritten) {
    const std::string notes = app("Notes", "com.example.Notes");
    testing_support::writeFile(loginItemsListPath(), "<plist><dict/></plist>");  // a dictionary, not a list
    EXPECT_FALSE(Core::addSpecialLoginItem(URL::fileURL(notes)));
    EXPECT_FALSE(Core::removeSpecialLoginItem(URL::fileURL(notes)));
    EXPECT_FALSE(Core::sessionLoginItemURLs());
    EXPECT_EQ(testing_support::readFile(loginItemsListPath()), "<plist><dict/></plist>");
}

}  // namespace
