#include "platform/LoginItemsList.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>

namespace {

using platform::LoginItemsList;
using platform::URL;
using testing_support::TempDir;

class LoginItemsListTest : public testing::Test {
protected:
    std::vector<std::string> texts(const LoginItemsList& list) {
        std::vector<std::string> out;
        auto snapshot = list.copySnapshot();
        EXPECT_TRUE(snapshot);
        for (const auto& item : snapshot.value_or(std::vector<LoginItemsList::Item>{})) out.push_back(item.urlString);
        return out;
    }

    TempDir dir;
    testing_support::ScopedLayout layout{dir.str(), dir / "home"};
};

TEST_F(LoginItemsListTest, KeepsURLTextsNewestFirstInTheHome) {
    auto list = LoginItemsList::create();
    ASSERT_TRUE(list);
    EXPECT_EQ(list->path(), dir / "home/Library/Preferences/loginitems.plist");
    EXPECT_TRUE(texts(*list).empty());

    const std::string odd = dir / "Apps/Odd 100% Name.app";
    std::filesystem::create_directories(odd);
    ASSERT_TRUE(list->insertItemBeforeFirst(platform::fileURLWithPath(odd)));
    ASSERT_TRUE(list->insertItemBeforeFirst(URL::fileURL("/Missing.app", true)));
    ASSERT_TRUE(list->insertItemBeforeFirst(platform::fileURLWithPath(odd)));
    const std::string oddText = "file://" + platform::percentEncodePath(odd) + "/";
    EXPECT_EQ(texts(*list), (std::vector<std::string>{oddText, "file:///Missing.app/"}));

    // A second handle reads what the first wrote; the odd name round-trips.
    auto again = LoginItemsList::create();
    ASSERT_TRUE(again);
    auto snapshot = again->copySnapshot();
    ASSERT_TRUE(snapshot);
    ASSERT_EQ(snapshot->size(), 2u);
    const auto& items = *snapshot;
    EXPECT_EQ(LoginItemsList::resolvedURL(items[0]), URL::fileURL(odd));
    EXPECT_TRUE(LoginItemsList::resolvedURL(items[0])->hasDirectoryPath());
    EXPECT_FALSE(LoginItemsList::resolvedURL(items[1])) << "nothing there";

    EXPECT_TRUE(again->removeItem(items[0]));
    EXPECT_EQ(texts(*list), (std::vector<std::string>{"file:///Missing.app/"}));
    EXPECT_FALSE(std::filesystem::exists(list->path() + ".tmp-" + std::to_string(::getpid())));
}

TEST_F(LoginItemsListTest, OnlyFileURLsResolve) {
    std::filesystem::create_directories(dir / "A b.app");
    for (const std::string& text : std::vector<std::string>{"https://example.com/", "file://host" + dir.str(), "file:relative", "file://" + dir.str() + "/A%2",
                                   "file://" + dir.str() + "/A%zzb.app", "file://" + dir.str() + "/%00", ""})
        EXPECT_FALSE(LoginItemsList::resolvedURL({text})) << text;
    EXPECT_EQ(LoginItemsList::resolvedURL({"file://" + dir.str() + "/A%20b.app"}), URL::fileURL(dir / "A b.app"));
    EXPECT_EQ(LoginItemsList::resolvedURL({"file://localhost" + dir.str() + "/A%20b.app/"}), URL::fileURL(dir / "A b.app"));
}

TEST_F(LoginItemsListTest, AFileThatIsNoListCantBeOpened) {
    testing_support::writeFile(dir / "home/Library/Preferences/loginitems.plist", "<not a list>");
    EXPECT_FALSE(LoginItemsList::create());
    testing_support::ScopedLayout noHome{dir.str(), ""};
    EXPECT_FALSE(LoginItemsList::create());
}

}  // namespace
