// Runs "sweeper walk" on a macOS-like tree and a rule document of the
// test's own. Skipped in builds without the tools (the sanitizer presets).
#include "support/MacTreeBuilder.h"
#include "support/Sweeper.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace {

class WalkCommandTest : public testing::Test {
protected:
    void SetUp() override {
        if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
        tree.cache("com.a", 1, 5000).cache("com.b").file("doc.yaml", R"(
com.a: {caches: {cache: ["Lib/Caches/com.a"]}}
"*": {caches: {cache: ["Lib/Caches/**"]}}
)");
    }
    testing_support::SweeperRun walk(const std::string& arguments) {
        return testing_support::runSweeper("--json --root '" + tree.root() + "' --home '" + tree.home() +
                                           "' walk --doc '" + tree.home() + "/doc.yaml' " + arguments);
    }
    testing_support::MacTreeBuilder tree;
};

TEST_F(WalkCommandTest, OneWalkPerIdentifierOnOneCache) {
    auto hits = testing_support::parsedOutput(walk("com.b com.a")).at("hits");
    ASSERT_EQ(hits.size(), 3u);
    // com.b's walk: only the base leaf is wanted, yet com.a's folder stays
    // claimed by its own rule.
    EXPECT_EQ(hits[0].at("query"), "com.b");
    EXPECT_EQ(hits[0].at("id"), "com.b");
    EXPECT_EQ(hits[0].at("rule"), "base");
    EXPECT_EQ(hits[1].at("query"), "com.a");
    EXPECT_EQ(hits[1].at("path"), tree.library("Caches/com.a"));
    EXPECT_EQ(hits[1].at("rule"), nlohmann::json({{"bundleID", "com.a"}}));
    EXPECT_EQ(hits[1].at("kind"), "cache");
    EXPECT_GE(hits[1].at("size").get<int64_t>(), 5000);
    EXPECT_EQ(hits[2].at("query"), "com.a");
    EXPECT_EQ(hits[2].at("id"), "com.b");
}

TEST_F(WalkCommandTest, AllWantsEveryMatcherAndUsageIsChecked) {
    auto hits = testing_support::parsedOutput(walk("--all")).at("hits");
    ASSERT_EQ(hits.size(), 2u);
    for (const auto& hit : hits) EXPECT_EQ(hit.at("query"), "*");

    EXPECT_EQ(walk("").status, 2);
    EXPECT_EQ(walk("--all com.a").status, 2);
    EXPECT_EQ(testing_support::runSweeper("walk --doc /nonexistent/doc.yaml --all").status, 1);
}

}  // namespace
