#include "platform/Regex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <unordered_set>
#include <vector>

using platform::Regex;

TEST(Regex, CompilesCaseInsensitiveAndRejectsBadPatterns) {
    auto re = Regex::compile("^com\\.example\\..*$");
    ASSERT_TRUE(re);
    EXPECT_TRUE(re->matches("COM.EXAMPLE.Notes"));
    EXPECT_FALSE(re->matches("org.example.Notes"));

    auto exact = Regex::compile("^abc$", 0);
    EXPECT_FALSE(exact->matches("ABC"));

    std::string error;
    EXPECT_FALSE(Regex::compile("^(unclosed", Regex::caseInsensitive, &error));
    EXPECT_FALSE(error.empty());
}

TEST(Regex, FindsTheFirstMatchAnywhereUnlessAnchored) {
    auto re = Regex::compile("b+");
    auto m = re->firstMatch("aabbbcbb");
    ASSERT_TRUE(m);
    EXPECT_EQ(m->range.location, 2u);
    EXPECT_EQ(m->range.length, 3u);
    EXPECT_FALSE(m->id);
}

TEST(Regex, ReportsRangesInUTF16UnitsAndBytes) {
    // "é" is one UTF-16 unit and two bytes; the emoji two units and four bytes.
    const std::string text = "\xC3\xA9\xF0\x9F\x98\x80-x-(tail)";
    auto re = Regex::compile("-(?<id>x)-");
    ASSERT_TRUE(re && re->hasIDGroup());
    auto m = re->firstMatch(text);
    ASSERT_TRUE(m && m->id);
    EXPECT_EQ(m->range.location, 3u);
    EXPECT_EQ(m->range.utf8Location, 6u);
    EXPECT_EQ(m->id->location, 4u);
    EXPECT_EQ(Regex::substring(text, *m->id), "x");
    EXPECT_EQ(Regex::utf8Offset(text, 1), 2u);
    EXPECT_EQ(Regex::utf8Offset(text, 2), 6u);  // inside the surrogate pair: moves to its end
    EXPECT_EQ(Regex::utf8Offset(text, 100), text.size());
}

TEST(Regex, NamedGroupThatTookNoPartIsAbsent) {
    auto re = Regex::compile("^a(?<id>b)?$");
    auto m = re->firstMatch("a");
    ASSERT_TRUE(m);
    EXPECT_FALSE(m->id);
}

TEST(Regex, IllFormedUTF8MatchesAsReplacementCharacter) {
    auto re = Regex::compile("^x.y$");
    EXPECT_TRUE(re->matches("x\xFFy"));
}

TEST(Regex, CaptureGroupsGivesEveryNumberedGroup) {
    auto re = Regex::compile("^(\\d+):(.+)$", 0);
    auto groups = re->captureGroups("70:Lib/Logs");
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(*groups[1], "70");
    EXPECT_EQ(*groups[2], "Lib/Logs");
    EXPECT_TRUE(re->captureGroups("Lib/Logs").empty());
}

TEST(Regex, EqualityAndHashFollowPatternAndOptions) {
    auto a = *Regex::compile("^a$");
    auto b = *Regex::compile("^a$");
    auto c = *Regex::compile("^a$", 0);
    EXPECT_EQ(a, b);
    EXPECT_EQ(std::hash<Regex>{}(a), std::hash<Regex>{}(b));
    EXPECT_FALSE(a == c);
    std::unordered_set<Regex> set{a, b, c};
    EXPECT_EQ(set.size(), 2u);
}

TEST(Regex, OneExpressionServesManyThreads) {
    auto re = *Regex::compile("^(?<id>item-\\d+)\\.plist$");
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                std::string name = "item-" + std::to_string(t * 10000 + i) + ".plist";
                auto m = re.firstMatch(name);
                if (!m || !m->id || Regex::substring(name, *m->id) != name.substr(0, name.size() - 6)) ++failures;
                if (re.matches("other" + name)) ++failures;
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
}

TEST(Regex, CopiesOutliveTheOriginal) {
    std::optional<Regex> copy;
    {
        auto re = Regex::compile("^tmp\\d$");
        EXPECT_TRUE(re->matches("tmp1"));  // caches a matcher for this thread
        copy = *re;
    }
    EXPECT_TRUE(copy->matches("TMP2"));
}
