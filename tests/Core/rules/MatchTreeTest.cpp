#include "Core/rules/AppFileRule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <thread>
#include <vector>

using namespace Core;

namespace {

// A forest compiled from a document of the test's own, on a layout with the
// user library at /h/Library.
struct Forest {
    platform::Layout layout;
    std::unique_ptr<RuleManager> manager;
    std::unique_ptr<AppFileRule> tree;

    explicit Forest(std::string_view doc, bool includeAll = true) {
        layout.setRoot("/r");
        layout.setHome("/h");
        layout.setTemporaryDirectory("/t/T");
        manager = std::make_unique<RuleManager>(doc, layout, "doc");
        tree = std::make_unique<AppFileRule>(*manager, includeAll);
    }

    const std::vector<MatcherNode>& root(const std::string& path) const {
        static const std::vector<MatcherNode> none;
        auto found = tree->rules().find(platform::URL::fileURL(path));
        return found == tree->rules().end() ? none : found->second;
    }
    // The children of the directory reached by `names` below `rootPath`.
    const std::vector<MatcherNode>& list(const std::string& rootPath, std::initializer_list<const char*> names) const {
        const std::vector<MatcherNode>* current = &root(rootPath);
        for (const char* name : names) {
            auto it = std::find_if(current->begin(), current->end(), [&](const MatcherNode& n) {
                return n.isDirectory() && n.matcher() == *Matcher::parse(name);
            });
            EXPECT_NE(it, current->end()) << "no directory node " << name;
            if (it == current->end()) return root("/nowhere");
            current = &it->directory()->children;
        }
        return *current;
    }
    MatcherID directoryID(const std::string& rootPath, const char* name) const {
        for (const auto& n : root(rootPath))
            if (n.isDirectory() && n.matcher() == *Matcher::parse(name)) return n.id();
        ADD_FAILURE() << "no directory " << name;
        return 0;
    }
    std::set<MatcherID> ids(std::string_view id) const {
        auto s = tree->matcherIDs(id);
        return {s.begin(), s.end()};
    }
};

// "leaf:<matcher text>@<priority>" or "dir:<matcher text>" per node, to
// compare a list at a glance.
std::vector<std::string> shape(const std::vector<MatcherNode>& nodes) {
    std::vector<std::string> out;
    for (const auto& n : nodes) {
        const Matcher& m = n.matcher();
        std::string text = m.matcherCase() == Matcher::Case::string  ? m.name().origin()
                           : m.matcherCase() == Matcher::Case::regex ? m.expression().pattern()
                           : m.matcherCase() == Matcher::Case::any   ? "*"
                                                                     : "**";
        out.push_back(n.isFile() ? "leaf:" + text + "@" + std::to_string(n.file().priority) : "dir:" + text);
    }
    return out;
}

using Shape = std::vector<std::string>;

MatcherContext context(const char* path, int64_t priority) {
    platform::Layout layout;
    layout.setHome("/h");
    auto p = PathMatcher::parse(path, priority, layout);
    EXPECT_TRUE(p) << path;
    return MatcherContext{*p, AppFileKind::Case::cache, RuleID::base(), std::make_shared<MatcherIDSet>()};
}

}  // namespace

TEST(MatcherContextOrder, PriorityThenRanksThenShorterPathsName) {
    auto before = [](const char* a, int64_t pa, const char* b, int64_t pb) {
        return MatcherContext::precedes(context(a, pa), context(b, pb));
    };
    EXPECT_TRUE(before("Lib/Caches/**", 41, "Lib/Caches/foo", 40));
    EXPECT_TRUE(before("Lib/A/b", 40, "Lib/*x/b", 40));          // string before regex at the first directory
    EXPECT_TRUE(before("Lib/A/*x", 40, "Lib/A/**", 40));         // regex before id in the name
    EXPECT_TRUE(before("Lib/A/**", 40, "Lib/A/*", 40));          // id before any
    EXPECT_TRUE(before("Lib/Caches/foo/bar", 40, "Lib/Caches/foo", 40));  // equal ranks: the longer first
    EXPECT_FALSE(before("Lib/Caches/foo", 40, "Lib/Caches/foo/bar", 40));
    EXPECT_TRUE(before("Lib/Caches/foo", 40, "Lib/Caches/**/bar", 40));  // a more specific name goes first
    EXPECT_TRUE(before("Lib/Caches/*x/bar", 40, "Lib/Caches/**", 40));   // a less specific name: the longer first
    // Paths equal by every test have no order either way.
    EXPECT_FALSE(before("Lib/Caches/foo", 40, "Lib/Logs/bar", 40));
    EXPECT_FALSE(before("Lib/Logs/bar", 40, "Lib/Caches/foo", 40));
}

TEST(AppFileRule, IdLeafOfHigherPriorityDropsTheExactName) {
    Forest f(R"(
com.foo: {caches: {cache: ["Lib/Caches/com.foo"]}}
"*": {caches: {cache: ["50:Lib/Caches/**"]}}
)");
    EXPECT_EQ(shape(f.list("/h/Library", {"Caches"})), (Shape{"leaf:**@50"}));
    // The dropped leaf's application still reaches the directory on its path.
    EXPECT_EQ(f.tree->matcherIDSet().at("com.foo")->matcherIDs,
              (std::unordered_set<MatcherID>{f.directoryID("/h/Library", "Caches")}));
}

TEST(AppFileRule, LeafAndDirectoryOfOneNameDropTheLater) {
    Forest leafFirst(R"(
a: {support: {support: ["Lib/Caches/foo"]}}
b: {caches: {cache: ["Lib/Caches/foo/bar"]}}
)");
    EXPECT_EQ(shape(leafFirst.list("/h/Library", {"Caches"})), (Shape{"leaf:foo@41"}));

    Forest directoryFirst(R"(
a: {caches: {cache: ["Lib/Caches/foo"]}}
b: {support: {support: ["Lib/Caches/foo/bar"]}}
)");
    EXPECT_EQ(shape(directoryFirst.list("/h/Library", {"Caches"})), (Shape{"dir:foo"}));
    EXPECT_EQ(shape(directoryFirst.list("/h/Library", {"Caches", "foo"})), (Shape{"leaf:bar@41"}));
    EXPECT_EQ(directoryFirst.ids("a"), (std::set<MatcherID>{directoryFirst.directoryID("/h/Library", "Caches")}));
}

TEST(AppFileRule, EqualPrioritiesShareANameUnequalOnesDont) {
    Forest equal(R"(
com.one: {logs: {log: ["Lib/Logs/foo"]}}
com.two: {logs: {log: ["Lib/Logs/FOO"]}}
)");
    const auto& logs = equal.list("/h/Library", {"Logs"});
    ASSERT_EQ(logs.size(), 2u);  // the two have no order between them
    EXPECT_EQ(logs[0].matcher(), logs[1].matcher());
    MatcherID dir = equal.directoryID("/h/Library", "Logs");
    std::set<MatcherID> one = equal.ids("com.one"), two = equal.ids("com.two");
    EXPECT_EQ(one.size(), 2u);
    EXPECT_EQ(two.size(), 2u);
    EXPECT_TRUE(one.contains(dir) && two.contains(dir));
    EXPECT_NE(logs[0].id(), logs[1].id());
    EXPECT_TRUE(one.contains(logs[0].id()) != one.contains(logs[1].id()));
    EXPECT_TRUE(two.contains(logs[0].id()) != two.contains(logs[1].id()));

    Forest unequal(R"(
com.one: {support: {log: ["Lib/Logs/foo"]}}
com.two: {logs: {log: ["Lib/Logs/foo"]}}
)");
    const auto& only = unequal.list("/h/Library", {"Logs"});
    ASSERT_EQ(shape(only), (Shape{"leaf:foo@41"}));
    EXPECT_EQ(only[0].file().ruleID, RuleID::bundleID("com.one"));
    EXPECT_EQ(unequal.ids("com.two"), (std::set<MatcherID>{unequal.directoryID("/h/Library", "Logs")}));
}

TEST(AppFileRule, LeavesThatTakeEveryNameBlockWhatComesLater) {
    Forest f(R"(
a: {caches: {cache: ["50:Lib/A/*", "Lib/A/B/c", "Lib/A/named"]}}
b: {caches: {cache: ["60:Lib/I/**", "60:Lib/I/**", "Lib/I/*", "Lib/I/**", "Lib/I/x/y"]}}
c: {caches: {cache: ["60:Lib/I/**", "60:Lib/A/*"]}}
)");
    // An any leaf drops later directories and leaves, and an any leaf of
    // another priority.
    EXPECT_EQ(shape(f.list("/h/Library", {"A"})), (Shape{"leaf:*@60"}));
    EXPECT_EQ(shape(f.list("/h/Library", {"I"})), (Shape{"leaf:**@60", "leaf:**@60", "leaf:**@60"}));
    // What was added before a drop stays: "a" still reaches A.
    EXPECT_TRUE(f.ids("a").contains(f.directoryID("/h/Library", "A")));
}

TEST(AppFileRule, RegexAndStringNamesOfOneDirectoryAreSortedBySpecificity) {
    Forest f(R"(
com.foo:
  caches:
    cache: ["Lib/Caches/*com\\.foo\\..*", "Lib/Caches/**/Cache.db", "Lib/Caches/com.foo", "Lib/Caches/*"]
)");
    EXPECT_EQ(shape(f.list("/h/Library", {"Caches"})),
              (Shape{"leaf:com.foo@40", "leaf:^com\\.foo\\..*$@40", "dir:**", "leaf:*@40"}));
    EXPECT_EQ(shape(f.list("/h/Library", {"Caches", "**"})), (Shape{"leaf:Cache.db@40"}));
}

TEST(AppFileRule, RootsAreResolvedAndKeptApart) {
    Forest f(R"(
"*":
  caches: {cache: ["Lib/Caches/**", "Home/.cache/**", "Tmp/C/**", "/Library/Caches/**"]}
)");
    std::vector<std::string> roots;
    for (const auto& [root, nodes] : f.tree->rules()) roots.push_back(root.path());
    EXPECT_EQ(roots, (std::vector<std::string>{"/h", "/h/Library", "/r", "/t"}));
    EXPECT_EQ(shape(f.list("/r", {"Library", "Caches"})), (Shape{"leaf:**@10"}));
}

TEST(AppFileRule, MatcherIDsCombineExactPatternAndBase) {
    Forest f(R"(
com.example.Notes: {caches: {cache: ["Lib/Caches/Notes"]}}
'*com\.example\..*': {caches: {cache: ["Lib/Caches/ExampleShared"]}}
"*": {caches: {cache: ["Lib/Caches/**"]}}
"@": {caches: {cache: ["Lib/Caches/*com\\.apple\\..*"]}}
"#": {caches: {cache: ["Lib/Caches/CloudKit"]}}
)");
    const auto& caches = f.list("/h/Library", {"Caches"});
    ASSERT_EQ(shape(caches),
              (Shape{"leaf:CloudKit@90", "leaf:Notes@40", "leaf:ExampleShared@30", "leaf:^com\\.apple\\..*$@20",
                     "leaf:**@10"}));
    MatcherID dir = f.directoryID("/h/Library", "Caches");
    auto idOf = [&](size_t i) { return caches[i].id(); };
    EXPECT_EQ(f.ids("COM.EXAMPLE.NOTES"), (std::set<MatcherID>{dir, idOf(1), idOf(2), idOf(4)}));
    EXPECT_EQ(f.ids("com.example.other"), (std::set<MatcherID>{dir, idOf(2), idOf(4)}));
    // Unknown: the base set alone. Black and system ids reach no one.
    EXPECT_EQ(f.ids("org.unknown"), (std::set<MatcherID>{dir, idOf(4)}));
    EXPECT_EQ(f.tree->nodeCount(), 6u);
}

TEST(AppFileRule, JunkCompilesCachesAndLogsOnlyWithFreshIDs) {
    const char* doc = R"(
com.foo:
  caches: {cache: ["Lib/Caches/foo"]}
  logs: {log: ["Lib/Logs/foo"]}
  support: {support: ["Lib/Application Support/foo"]}
  preferencePanes: {preferencePanes: ["/Library/PreferencePanes/Foo.prefPane"]}
)";
    Forest all(doc, true);
    Forest junk(doc, false);
    EXPECT_EQ(all.tree->nodeCount(), 9u);  // two nodes per path under Lib, three for the absolute one
    EXPECT_EQ(junk.tree->nodeCount(), 4u);
    std::set<MatcherID> a = all.ids("com.foo"), j = junk.ids("com.foo");
    EXPECT_EQ(a.size(), 9u);
    EXPECT_EQ(j.size(), 4u);
    // One counter for the process: the later compilation's ids are all new.
    EXPECT_GT(*j.begin(), *a.rbegin());
    EXPECT_GE(*a.begin(), 1);
    EXPECT_FALSE(junk.tree->baseMatcherIDSet());
}

TEST(AppFileRule, SharedInstancesAreBuiltOnceAcrossThreads) {
    std::vector<const AppFileRule*> seen(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&, i] { seen[i] = i % 2 ? &AppFileRule::all() : &AppFileRule::junk(); });
    for (auto& t : threads) t.join();
    for (size_t i = 2; i < seen.size(); ++i) EXPECT_EQ(seen[i], seen[i % 2]);
    const AppFileRule& all = AppFileRule::all();
    const AppFileRule& junk = AppFileRule::junk();
    EXPECT_GT(all.nodeCount(), junk.nodeCount());
    auto a = all.matcherIDs("com.google.Chrome");
    auto j = junk.matcherIDs("com.google.Chrome");
    EXPECT_FALSE(j.empty());
    for (auto id : j) EXPECT_FALSE(a.contains(id));
}
