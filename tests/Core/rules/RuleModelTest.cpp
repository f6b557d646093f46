#include "Core/rules/Matcher.h"
#include "Core/rules/PathMatcher.h"
#include "Core/rules/ResourceError.h"
#include "Core/rules/RuleID.h"
#include "Core/rules/RuleManager.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Core;

namespace {

struct TestLayout {
    platform::Layout layout;
    TestLayout() {
        layout.setRoot("/r");
        layout.setHome("/h/user");
        layout.setTemporaryDirectory("/var/folders/xy/abc/T");
    }
};

std::vector<std::string> sorted(const std::vector<CaseInsensitiveString>& ids) {
    std::vector<std::string> out;
    for (const auto& id : ids) out.push_back(id.origin());
    std::sort(out.begin(), out.end());
    return out;
}

}  // namespace

TEST(Matcher, ParsesEveryForm) {
    EXPECT_FALSE(Matcher::parse(""));
    EXPECT_EQ(Matcher::parse("*")->matcherCase(), Matcher::Case::any);
    EXPECT_EQ(Matcher::parse("**")->matcherCase(), Matcher::Case::id);
    auto star = Matcher::parse("*com\\.example\\..*");
    ASSERT_EQ(star->matcherCase(), Matcher::Case::regex);
    EXPECT_EQ(star->expression().pattern(), "^com\\.example\\..*$");
    EXPECT_EQ(Matcher::parse("^com")->expression().pattern(), "^com");
    // The star is only special at the start of a component.
    auto literal = Matcher::parse("com.example.*");
    ASSERT_EQ(literal->matcherCase(), Matcher::Case::string);
    EXPECT_EQ(literal->name().origin(), "com.example.*");
    EXPECT_FALSE(Matcher::parse("*(unclosed"));
    EXPECT_FALSE(Matcher::parse("^[z-a]"));
    EXPECT_EQ(Matcher::parse("Caches")->rank(), 4);
    EXPECT_EQ(Matcher::parse("^x")->rank(), 3);
    EXPECT_EQ(Matcher::parse("**")->rank(), 2);
    EXPECT_EQ(Matcher::parse("*")->rank(), 1);
}

TEST(Matcher, EqualityIsByCaseAndPayload) {
    EXPECT_EQ(*Matcher::parse("Caches"), *Matcher::parse("CACHES"));
    EXPECT_EQ(std::hash<Matcher>{}(*Matcher::parse("Caches")), std::hash<Matcher>{}(*Matcher::parse("caches")));
    EXPECT_EQ(*Matcher::parse("*a"), *Matcher::parse("*a"));
    EXPECT_FALSE(*Matcher::parse("*a") == *Matcher::parse("*A"));  // patterns compare as written
    EXPECT_FALSE(*Matcher::parse("^a$") == *Matcher::parse("a"));
    EXPECT_FALSE(Matcher::any() == Matcher::id());
}

TEST(Matcher, MatchesNamesAndCapturesIdentifiers) {
    EXPECT_TRUE(Matcher::parse("*com\\.example\\..*")->match("COM.EXAMPLE.APP").matched);
    auto prefix = Matcher::parse("^com")->match("com.example");
    EXPECT_TRUE(prefix.matched);
    EXPECT_FALSE(prefix.id);  // no "id" in the pattern

    auto any = Matcher::any().match("whatever");
    EXPECT_TRUE(any.matched);
    EXPECT_FALSE(any.id);
    EXPECT_EQ(Matcher::id().match("com.foo").id, "com.foo");

    auto group = Matcher::parse("*(?<id>.+)\\.plist")->match("com.foo.plist");
    EXPECT_EQ(group.id, "com.foo");
    auto emptyGroup = Matcher::parse("*x(?<id>.*)")->match("x");
    EXPECT_TRUE(emptyGroup.matched);
    EXPECT_FALSE(emptyGroup.id);
    EXPECT_FALSE(Matcher::parse("*(?<id>.+)\\.plist")->match("com.foo.plist.bak").matched);
}

TEST(Matcher, PrefixFormTakesTheRestAfterTheMatchLength) {
    // Not ending in "$" and mentioning "id": the identifier is what follows
    // the match, counted in UTF-16 units.
    auto m = Matcher::parse("^group\\.(?<id>)");
    EXPECT_EQ(m->match("group.com.example.shared").id, "com.example.shared");
    EXPECT_EQ(m->match("GROUP.x").id, "x");
    // "é" is one UTF-16 unit but two bytes: the cut must land after it.
    EXPECT_EQ(Matcher::parse("^\\w\\.(?<id>)")->match("\xC3\xA9.rest").id, "rest");
    // The letters "id" anywhere count, not only a group.
    EXPECT_EQ(Matcher::parse("^kid-")->match("kid-notes").id, "notes");
    EXPECT_EQ(Matcher::parse("^.*?x(?<id>)")->match("abxyz").id, "yz");
    // Ending in "$" switches to the named group.
    EXPECT_EQ(Matcher::parse("^group\\.(?<id>.+)$")->match("group.abc").id, "abc");
}

TEST(RuleID, ParsesEveryForm) {
    EXPECT_FALSE(RuleID::parse(""));
    EXPECT_EQ(RuleID::parse("*")->ruleCase(), RuleID::Case::base);
    EXPECT_EQ(RuleID::parse("*com\\.x.*")->ruleCase(), RuleID::Case::bundleIDRegex);
    EXPECT_EQ(RuleID::parse("*com\\.x.*")->expression().pattern(), "^com\\.x.*$");
    EXPECT_FALSE(RuleID::parse("*(bad"));
    EXPECT_EQ(RuleID::parse("@")->ruleCase(), RuleID::Case::black);
    EXPECT_EQ(RuleID::parse("#")->ruleCase(), RuleID::Case::system);
    EXPECT_EQ(RuleID::parse("^x")->ruleCase(), RuleID::Case::bundleID);
}

TEST(PathMatcher, ResolvesRootsThroughTheLayout) {
    TestLayout t;
    auto lib = PathMatcher::parse("Lib/Caches", 40, t.layout);
    ASSERT_TRUE(lib);
    EXPECT_EQ(lib->root.path(), "/h/user/Library");
    EXPECT_TRUE(lib->pathMatchers.empty());
    EXPECT_EQ(lib->nameMatcher, Matcher::string("Caches"));
    EXPECT_EQ(lib->priority, 40);

    EXPECT_EQ(PathMatcher::parse("Home//.vscode/", 1, t.layout)->root.path(), "/h/user");
    EXPECT_EQ(PathMatcher::parse("Tmp/C/**", 1, t.layout)->root.path(), "/var/folders/xy/abc");
    auto abs = PathMatcher::parse("/Applications", 1, t.layout);
    ASSERT_TRUE(abs);
    EXPECT_EQ(abs->root.path(), "/r");
    EXPECT_EQ(abs->nameMatcher, Matcher::string("Applications"));
    auto deep = PathMatcher::parse("/Library/Caches/**", 1, t.layout);
    ASSERT_EQ(deep->pathMatchers.size(), 2u);
    EXPECT_EQ(deep->nameMatcher, Matcher::id());
}

TEST(PathMatcher, DropsWhatIsNotAPath) {
    TestLayout t;
    for (const char* text : {"Lib", "/", "//", "", "Library/Caches/foo", "lib/Caches", "~/Caches", "a:Lib/Caches/foo",
                             "Lib/Caches/*(bad", "Lib/^[/x", "Lib/*(/x", "99999999999999999999:Lib/Caches"})
        EXPECT_FALSE(PathMatcher::parse(text, 40, t.layout)) << text;
    // "~" is an ordinary name below a root word.
    EXPECT_TRUE(PathMatcher::parse("Home/~", 40, t.layout));
}

TEST(PathMatcher, PrefixReplacesTheDefaultPriority) {
    TestLayout t;
    EXPECT_EQ(PathMatcher::parse("10:Lib/Caches/foo", 90, t.layout)->priority, 10);
    EXPECT_EQ(PathMatcher::parse("007:/Library", 41, t.layout)->priority, 7);
    auto plain = PathMatcher::parse("Lib/Logs/*notes-.*\\.log", 41, t.layout);
    EXPECT_EQ(plain->priority, 41);
    EXPECT_EQ(plain->nameMatcher.expression().pattern(), "^notes-.*\\.log$");
}

TEST(RuleManager, BuildsRulesWithDefaultPriorities) {
    TestLayout t;
    RuleManager m(R"(
"com.example.Notes":
  caches:
    cache: ["Lib/Caches/Notes", "Library/Dropped"]
    log: ["Lib/Caches/NotesLogs"]
    cache: ["Lib/Caches/NotesLater"]
  support:
    support: ["Lib/Application Support/Notes", "5:Lib/Notes"]
  logs:
    weird: []
'*com\.example\..*':
  logs:
    log: ["Lib/Logs/Example"]
"*":
  support:
    container: ["Lib/Containers/**"]
"@":
  caches:
    cache: ["Lib/Caches/*com\\.apple\\..*"]
"#":
  library:
    library: ["/System"]
)",
                  t.layout, "doc");
    ASSERT_EQ(m.rules().size(), 5u);
    const Rule& notes = m.rules().at(RuleID::bundleID("COM.EXAMPLE.NOTES"));
    // Two "cache" keys: the later wins, in the first one's place.
    ASSERT_EQ(notes.caches->size(), 2u);
    EXPECT_EQ((*notes.caches)[0].first, AppFileKind(AppFileKind::Case::cache));
    ASSERT_EQ((*notes.caches)[0].second.size(), 1u);
    EXPECT_EQ((*notes.caches)[0].second[0].nameMatcher, Matcher::string("NotesLater"));
    EXPECT_EQ((*notes.caches)[0].second[0].priority, 40);
    EXPECT_EQ((*notes.caches)[1].first, AppFileKind(AppFileKind::Case::log));
    EXPECT_EQ((*notes.support)[0].second[0].priority, 41);
    EXPECT_EQ((*notes.support)[0].second[1].priority, 5);
    EXPECT_EQ((*notes.logs)[0].first, AppFileKind::other("weird"));
    EXPECT_TRUE((*notes.logs)[0].second.empty());
    EXPECT_FALSE(notes.library);

    auto priorityOf = [&](const RuleID& id, RuleCategory c) { return (*m.rules().at(id).category(c))[0].second[0].priority; };
    EXPECT_EQ(priorityOf(*RuleID::parse("*com\\.example\\..*"), RuleCategory::logs), 30);
    EXPECT_EQ(priorityOf(RuleID::base(), RuleCategory::support), 11);
    EXPECT_EQ(priorityOf(RuleID::black(), RuleCategory::caches), 20);
    EXPECT_EQ(priorityOf(RuleID::system(), RuleCategory::library), 90);
}

TEST(RuleManager, BadKeysAreStartUpFailures) {
    TestLayout t;
    EXPECT_THROW(RuleManager("\"\": {}\n", t.layout, "doc"), ResourceError);
    try {
        RuleManager("'*(broken': {}\n", t.layout, "doc");
        FAIL();
    } catch (const ResourceError& e) {
        EXPECT_NE(std::string(e.what()).find("*(broken"), std::string::npos);
    }
    // Keys that differ in case are one rule.
    RuleManager m("com.X: {}\nCOM.x: {}\n", t.layout, "doc");
    EXPECT_EQ(m.rules().size(), 1u);
}

TEST(RuleManager, ExtraInfoMergesPatternsAndTheExactEntry) {
    TestLayout t;
    RuleManager m(R"(
'*com\.example\..*':
  ids: [com.example.shared]
  organization: Example Labs
'*com\.example\.notes.*':
  ids: [com.example.notes.extra]
com.example.Notes:
  ids: [com.example.Notes.helper, com.example.shared]
com.example.Other:
  organization: Other Org
'*':
  ids: [ignored]
  organization: ignored
)",
                  t.layout, "doc");
    auto notes = m.extraInfo("com.example.notes");
    EXPECT_EQ(sorted(notes.ids),
              (std::vector<std::string>{"com.example.Notes.helper", "com.example.notes.extra", "com.example.shared"}));
    // The exact entry has no organization, and that replaces the patterns'.
    EXPECT_FALSE(notes.organization);
    EXPECT_EQ(m.extraInfo("com.example.other").organization, CaseInsensitiveString("Other Org"));
    EXPECT_EQ(m.extraInfo("COM.EXAMPLE.Tool").organization, CaseInsensitiveString("Example Labs"));
    auto none = m.extraInfo("org.unknown");
    EXPECT_TRUE(none.ids.empty());
    EXPECT_FALSE(none.organization);
    EXPECT_EQ(m.extraInfos().size(), 2u);
    EXPECT_EQ(m.regexExtraInfos().size(), 2u);
}
