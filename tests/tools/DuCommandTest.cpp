// Runs "sweeper du" on a small tree: the JSON tree, the listing, the
// treemap and the failures. Skipped in builds without the tools.
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <cmath>
#include <filesystem>
#include <map>

namespace fs = std::filesystem;
using nlohmann::json;
using testing_support::parsedOutput;
using testing_support::allocated;
using testing_support::runSweeper;
using testing_support::TempDir;
using testing_support::writeFileOfSize;

namespace {

const json* childNamed(const json& node, const std::string& path) {
    for (const auto& c : node.at("children"))
        if (c.at("path") == path) return &c;
    return nullptr;
}

class DuCommandTest : public testing::Test {
protected:
    void SetUp() override {
        if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
        writeFileOfSize(dir / "tree/Apps/Tool.app/Contents/exe", 40000);
        writeFileOfSize(dir / "tree/docs/a.txt", 9000);
        writeFileOfSize(dir / "tree/docs/b.txt", 2000);
        writeFileOfSize(dir / "tree/dev/tty0", 100);
        writeFileOfSize(dir / "tree/big", 70000);
        fs::create_symlink("big", dir / "tree/link");
        fs::create_directories(dir / "tree/empty");
    }
    TempDir dir;
};

TEST_F(DuCommandTest, JsonIsTheWholeTreeWithPackagesAndTheRootsDev) {
    auto tree = parsedOutput(runSweeper("--json --root '" + (dir / "tree") + "' du '" + (dir / "tree") + "'"));
    EXPECT_EQ(tree.at("path"), dir / "tree");
    EXPECT_EQ(tree.at("type"), "folder");

    const json* apps = childNamed(tree, dir / "tree/Apps");
    ASSERT_NE(apps, nullptr);
    const json* tool = childNamed(*apps, dir / "tree/Apps/Tool.app");
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->at("type"), "bundle");
    EXPECT_EQ(tool->at("size"), allocated(dir / "tree/Apps/Tool.app/Contents/exe"));
    EXPECT_TRUE(tool->at("children").empty());

    const json* dev = childNamed(tree, dir / "tree/dev");
    ASSERT_NE(dev, nullptr);
    EXPECT_EQ(dev->at("type"), "ignored");
    EXPECT_EQ(dev->at("size"), 0);

    const json* link = childNamed(tree, dir / "tree/link");
    ASSERT_NE(link, nullptr);
    EXPECT_EQ(link->at("type"), "symlink");
    EXPECT_FALSE(link->contains("children"));
    EXPECT_EQ(childNamed(tree, dir / "tree/big")->at("type"), "file");
    // How folders add up is the scan's (tested below the command); the root's
    // total shows the sizes reached the document.
    EXPECT_EQ(tree.at("size").get<int64_t>(),
              allocated(dir / "tree/Apps/Tool.app/Contents/exe") + allocated(dir / "tree/docs/a.txt") +
                  allocated(dir / "tree/docs/b.txt") + allocated(dir / "tree/big") + allocated(dir / "tree/link"));
}

TEST_F(DuCommandTest, ListingIsLargestFirstAndFailuresExitWithOne) {
    auto run = runSweeper("--quiet du --depth 1 '" + (dir / "tree") + "'");
    ASSERT_EQ(run.status, 0) << run.err;
    auto big = run.out.find("  big");
    auto apps = run.out.find("  Apps/");
    auto docs = run.out.find("  docs/");
    ASSERT_NE(big, std::string::npos) << run.out;
    EXPECT_LT(big, apps);
    EXPECT_LT(apps, docs);
    EXPECT_EQ(run.out.find("a.txt"), std::string::npos);  // below the depth asked
    EXPECT_NE(run.out.find("100.0%"), std::string::npos);

    auto missing = runSweeper("du '" + (dir / "missing") + "'");
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.out.empty());
    EXPECT_NE(missing.err.find("missing"), std::string::npos);
}

struct Rect {
    double x, y, w, h;
    int64_t size;
};

TEST_F(DuCommandTest, TreemapChildrenLieInsideTheirFolderInProportionToTheirSizes) {
    std::string svg = dir / "map.svg";
    auto run = runSweeper("--json du --depth 3 --svg '" + svg + "' '" + (dir / "tree") + "'");
    ASSERT_EQ(run.status, 0) << run.err;
    std::string text = testing_support::readFile(svg);
    EXPECT_EQ(text.find("transform"), std::string::npos);

    // Every drawn rectangle is followed by its title; no regular expression,
    // since the standard one trips a false warning of the sanitizer build.
    std::map<std::string, Rect> rects;
    for (size_t at = text.find("<rect "); at != std::string::npos; at = text.find("<rect ", at + 1)) {
        size_t end = text.find('>', at);
        ASSERT_NE(end, std::string::npos);
        if (text.compare(end + 1, 7, "<title>") != 0) continue;
        std::string tag = text.substr(at, end - at);
        auto attribute = [&tag](const std::string& name) {
            size_t start = tag.find(" " + name + "=\"");
            if (start == std::string::npos) return std::string();
            start += name.size() + 3;
            return tag.substr(start, tag.find('"', start) - start);
        };
        rects[attribute("data-path")] = {std::stod(attribute("x")), std::stod(attribute("y")),
                                         std::stod(attribute("width")), std::stod(attribute("height")),
                                         std::stoll(attribute("data-size"))};
    }
    ASSERT_TRUE(rects.contains(dir / "tree"));
    ASSERT_TRUE(rects.contains(dir / "tree/docs/a.txt"));
    EXPECT_FALSE(rects.contains(dir / "tree/empty"));  // no area to draw

    std::map<std::string, std::vector<std::string>> byParent;
    for (const auto& [path, r] : rects) {
        if (path == dir / "tree") continue;
        std::string parent = fs::path(path).parent_path().string();
        ASSERT_TRUE(rects.contains(parent)) << path;
        const Rect& p = rects[parent];
        constexpr double eps = 1e-3;
        EXPECT_GE(r.x, p.x - eps) << path;
        EXPECT_GE(r.y, p.y - eps) << path;
        EXPECT_LE(r.x + r.w, p.x + p.w + eps) << path;
        EXPECT_LE(r.y + r.h, p.y + p.h + eps) << path;
        byParent[parent].push_back(path);
    }
    for (const auto& [parent, children] : byParent) {
        const Rect& first = rects[children.front()];
        double perByte = first.w * first.h / double(first.size);
        for (const auto& c : children) {
            const Rect& r = rects[c];
            EXPECT_NEAR(r.w * r.h, perByte * double(r.size), 0.01 * r.w * r.h + 0.01) << c;
        }
    }
}

}  // namespace
