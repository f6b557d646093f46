#include "Core/apps/LeftoverCandidates.h"

#include "Core/apps/AppFileFinder.h"
#include "Core/rules/RuleManager.h"
#include "platform/Layout.h"
#include "support/MacTreeBuilder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace {

using namespace Core;
using testing_support::MacTreeBuilder;

TEST(LeftoverCandidatesTest, ContainerNamesLoseGroupAndTeamPrefixes) {
    EXPECT_EQ(containerEntryID("group.ABCDE12345.net.gone.Shared"), "net.gone.Shared");
    EXPECT_EQ(containerEntryID("ABCDE12345.net.gone.Team"), "net.gone.Team");
    EXPECT_EQ(containerEntryID("group.net.gone.Plain"), "net.gone.Plain");
    EXPECT_EQ(containerEntryID("ABCDE12345.group.net.gone.Both"), "net.gone.Both");
    // Not a team prefix: nine characters, or a point inside.
    EXPECT_EQ(containerEntryID("ABCDE1234.net.gone"), "ABCDE1234.net.gone");
    EXPECT_EQ(containerEntryID("com.gone.Tool"), "com.gone.Tool");
}

TEST(LeftoverCandidatesTest, RelatednessNeedsMoreThanHalfTheLeadingPieces) {
    EXPECT_TRUE(isRelatedID("com.example.Notes.helper", "com.example.notes"));  // contains
    EXPECT_TRUE(isRelatedID("com.example.Other", "com.example.Notes"));         // 2 of 3
    EXPECT_TRUE(isRelatedID("com.a.b.x.y", "com.a.b.c.d"));                     // 3 of 5
    EXPECT_FALSE(isRelatedID("com.a.x.y", "com.a.b.c"));                        // 2 of 4
    EXPECT_FALSE(isRelatedID("com.foo", "com.bar"));                            // 1 of 2
    EXPECT_FALSE(isRelatedID("org.example.Notes", "com.example.Notes"));        // order counts
    EXPECT_TRUE(isRelatedID("com.jetbrains.pycharm.x", "org.jetbrains.PyCharm.y"));
    EXPECT_FALSE(isRelatedID("com.jetbrains.pycharm", "org.jetbrains.goland"));
}

TEST(LeftoverCandidatesTest, EachSubtractionRuleDropsWhatItShould) {
    LeftoverFilter filter({"com.example.Notes", "com.jetbrains.intellij.ce", "com.bohemiancoding.sketch3"},
                          {"net.excluded.App"});
    EXPECT_TRUE(filter.hasJetbrainsApp());
    EXPECT_TRUE(filter.hasSketchApp());
    const std::pair<const char*, bool> cases[] = {
        {".hidden.name.x", false},                   // 1
        {"Data", false},                             // 2
        {"..single..", false},                       // 1 (dot first)
        {"net.excluded.App", false},                 // 3
        {"net.Excluded.App", true},                  // 3 is exact in case
        {"COM.EXAMPLE.NOTES", false},                // 4, without regard to case
        {"com.firebase.firinstallations", false},    // 5
        {"net.is.workflow.my", false},               // 6
        {"toolbox.jetbrains.app", false},            // 7
        {"net.tool.plugin.sketch.x", false},         // 8
        {"com.example.Other", false},                // 9
        {"uk.co.example.Gone", false},               // 10: the domain of an installed id
        {"org.gone.Tool", true},
    };
    for (const auto& [id, reported] : cases) EXPECT_EQ(filter.isLeftover(id), reported) << id;

    // Without the families installed, their ids are reported.
    LeftoverFilter plain({"com.example.Notes"}, {});
    EXPECT_FALSE(plain.hasJetbrainsApp());
    EXPECT_TRUE(plain.isLeftover("toolbox.jetbrains.app"));
    EXPECT_TRUE(plain.isLeftover("net.tool.plugin.sketch.x"));
}

TEST(LeftoverCandidatesTest, WalkReadsContainersScriptsAndPreferences) {
    MacTreeBuilder tree;
    tree.useLayout()
        .folder("Library/Containers/group.ABCDE12345.net.gone.Shared")
        .folder("Library/Containers/com.apple.Notes")
        .folder("Library/Containers/Data")
        .file("Library/Containers/net.gone.Loose.plist")
        .file("Library/Containers/readme.txt")
        .folder("Library/Application Scripts/net.gone.Scripts")
        .file("Library/Preferences/net.gone.Pref.plist")
        .file("Library/Preferences/com.apple.dock.plist")
        .file("Library/Preferences/net.excluded.one.plist")
        .file("Library/Preferences/net.matched.by.pattern.plist")
        .folder("Library/Preferences/JetBrains")
        .folder("Library/Preferences/SomeFolder");
    LeftoverExclusions exclusions;
    exclusions.ids.insert("NET.EXCLUDED.ONE");
    exclusions.expressions.push_back(*platform::Regex::compile("by\\.pattern$"));

    auto found = findLeftoverCandidates(exclusions);
    EXPECT_EQ(std::set<std::string>(found.ids.begin(), found.ids.end()),
              (std::set<std::string>{"net.gone.Shared", "Data", "net.gone.Loose", "net.gone.Scripts", "net.gone.Pref",
                                     "JetBrains"}));
    std::map<std::string, std::string> kinds;
    for (const auto& file : found.predictedFiles) {
        EXPECT_EQ(file.file->priority, 40);
        EXPECT_FALSE(file.owner.isMacApp());
        kinds[file.file->url.lastPathComponent()] = file.kind.rawValue() + " " + file.owner.id().origin();
    }
    EXPECT_EQ(kinds, (std::map<std::string, std::string>{
                         {"group.ABCDE12345.net.gone.Shared", "container net.gone.Shared"},
                         {"Data", "container Data"},
                         {"net.gone.Loose.plist", "container net.gone.Loose"},
                         {"net.gone.Scripts", "support net.gone.Scripts"},
                         {"net.gone.Pref.plist", "preference net.gone.Pref"},
                         {"JetBrains", "preference JetBrains"},
                     }));
}

TEST(LeftoverCandidatesTest, ExclusionsComeFromTheBlackRulesPreferencePaths) {
    MacTreeBuilder tree;
    tree.useLayout();
    RuleManager manager(R"(
"@":
  support:
    preference: ['Lib/Preferences/.GlobalPreferences', 'Lib/Preferences/*com\.apple\..*', 'Lib/Preferences/**']
    container: ['Lib/Containers/not.this.one']
)", platform::Layout::shared(), "doc");
    auto exclusions = AppFileFinder::readLeftoverExclusions(manager);
    EXPECT_EQ(exclusions.ids, (std::unordered_set<CaseInsensitiveString>{".GlobalPreferences"}));
    ASSERT_EQ(exclusions.expressions.size(), 1u);
    EXPECT_TRUE(exclusions.excludes("com.apple.dock"));
    EXPECT_FALSE(exclusions.excludes("not.this.one"));

    RuleManager empty("com.example.Notes: {caches: {cache: ['Lib/Caches/x']}}", platform::Layout::shared(), "doc");
    auto none = AppFileFinder::readLeftoverExclusions(empty);
    EXPECT_TRUE(none.ids.empty());
    EXPECT_TRUE(none.expressions.empty());
}

}  // namespace
