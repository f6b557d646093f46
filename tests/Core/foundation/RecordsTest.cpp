#include "Core/foundation/AppFile.h"
#include "Core/foundation/AppFileSet.h"
#include "Core/foundation/CaseInsensitiveString.h"
#include "Core/foundation/File.h"

#include <gtest/gtest.h>

#include <map>
#include <unordered_map>
#include <unordered_set>

using Core::AppFileKind;
using Core::CaseInsensitiveString;

TEST(CaseInsensitiveStringTest, OneKeyKeepsTheFirstSpelling) {
    std::unordered_set<CaseInsensitiveString> set;
    set.insert("Com.Apple.Safari");
    set.insert("com.apple.safari");
    ASSERT_EQ(set.size(), 1u);
    EXPECT_EQ(set.begin()->origin(), "Com.Apple.Safari");

    std::unordered_map<CaseInsensitiveString, int> table;
    table["ÄPFEL.App"] = 1;
    table["äpfel.app"] += 1;
    EXPECT_EQ(table.size(), 1u);
    EXPECT_EQ(table.begin()->second, 2);
}

TEST(CaseInsensitiveStringTest, OrderFollowsTheCompare) {
    std::map<CaseInsensitiveString, int> ordered{{"b", 2}, {"A", 1}, {"C", 3}};
    std::string keys;
    for (const auto& [k, v] : ordered) keys += k.origin();
    EXPECT_EQ(keys, "AbC");
    EXPECT_LT(CaseInsensitiveString("apple"), CaseInsensitiveString("Banana"));
    EXPECT_EQ(CaseInsensitiveString(""), CaseInsensitiveString(""));
    EXPECT_FALSE(CaseInsensitiveString::from(std::nullopt).has_value());
    EXPECT_EQ(CaseInsensitiveString::from(std::string("X"))->origin(), "X");
    EXPECT_EQ(CaseInsensitiveString("MiXed").lowercaseString(), "mixed");
}

TEST(AppFileKindTest, RawStringsAreExactInCase) {
    EXPECT_EQ(AppFileKind::fromRawValue("preferencePanes").kindCase(), AppFileKind::Case::preferencePanes);
    AppFileKind odd = AppFileKind::fromRawValue("PreferencePanes");
    EXPECT_EQ(odd.kindCase(), AppFileKind::Case::other);
    EXPECT_EQ(odd.rawValue(), "PreferencePanes");
    EXPECT_EQ(AppFileKind::fromRawValue("Log"), AppFileKind::other("Log"));
    EXPECT_NE(AppFileKind::fromRawValue("Log"), AppFileKind::other("log"));
    std::unordered_set<AppFileKind> kinds{AppFileKind::Case::log, AppFileKind::other("x"), AppFileKind::other("x"),
                                          AppFileKind::other("y")};
    EXPECT_EQ(kinds.size(), 3u);
}

// A file is its URL: sizes play no part in equality or hashing. An owner is
// an application or a bundle identifier, never both.
TEST(FileRecordsTest, EqualityIsByURLAndOwnerKind) {
    auto url = platform::URL::fileURL("/tmp/a.log");
    std::unordered_set<Core::File> files{Core::File(url, 1), Core::File(url, 2)};
    EXPECT_EQ(files.size(), 1u) << "files differing only in size are one entry";
    Core::AppFile appFile = Core::File(url, 1500).toAppFile(AppFileKind::Case::log);
    EXPECT_EQ(appFile.owner().macAppID().type, Core::MacAppID::Type::bundleID);
    EXPECT_NE(Core::App::app("x"), Core::App::macApp(Core::MacAppID::bundleID("x")));
}
