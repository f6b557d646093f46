// Runs "sweeper vendor" on the shipped documents and on documents of the
// test's own.
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

namespace {

using nlohmann::json;

class VendorCommandTest : public testing::Test {
protected:
    void SetUp() override {
        if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
    }
};

TEST_F(VendorCommandTest, ShippedDocuments) {
    auto run = testing_support::runSweeper("--json vendor com.microsoft.Word");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out), json({{"id", "com.microsoft.Word"},
                                          {"vendor", "Microsoft"},
                                          {"group", "Microsoft Office"},
                                          {"organization", "microsoft"}}));
    run = testing_support::runSweeper("vendor localtool");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out),
              json({{"id", "localtool"}, {"vendor", "Other"}, {"group", nullptr}, {"organization", nullptr}}));
}

TEST_F(VendorCommandTest, DocumentsOfTheResourcesFolder) {
    testing_support::TempDir dir;
    testing_support::writeFile(dir / "app_vender.yaml", "- {name: 'Box', domain: 'org.example.'}\n");
    testing_support::writeFile(dir / "app_group.yaml", "- {name: 'Tools', ids: ['org.example.Tool']}\n");
    testing_support::writeFile(dir / "public_suffix_list.dat", "org\n");
    auto run = testing_support::runSweeper("--resources '" + dir.str() + "' vendor org.Example.Tool");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out),
              json({{"id", "org.Example.Tool"}, {"vendor", "Box"}, {"group", nullptr}, {"organization", "Example"}}));

    std::filesystem::remove(dir / "app_vender.yaml");
    run = testing_support::runSweeper("--resources '" + dir.str() + "' vendor org.example.Tool");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out).at("vendor"), "Other");
    EXPECT_EQ(json::parse(run.out).at("group"), "Tools");
}

}  // namespace
