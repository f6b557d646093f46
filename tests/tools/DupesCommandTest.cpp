// Runs "sweeper dupes" on small trees the test writes. Skipped in builds
// without the tools (the sanitizer presets).
#include "support/ImageBuilder.h"
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace testing_support;
using nlohmann::json;
using Groups = std::vector<std::vector<std::string>>;

class DupesCommandTest : public testing_support::SweeperTest {
protected:
    // Runs "--json dupes ARGUMENTS 'ROOT'" and gives the document; fails the
    // test unless it exits 0 and its output is laid out as the other
    // commands lay theirs out.
    json dupes(const std::string& arguments, const std::string& root) {
        SweeperRun run = runSweeper("--json dupes " + arguments + " '" + root + "'");
        EXPECT_EQ(run.status, 0) << run.err;
        json doc = json::parse(run.out, nullptr, false);
        EXPECT_FALSE(doc.is_discarded()) << run.out;
        if (doc.is_discarded()) return json::object();
        EXPECT_EQ(run.out, doc.dump(2) + "\n");
        return doc;
    }

    // The paths of each group, below the test's folder.
    Groups relative(const json& groups) {
        Groups out;
        std::string prefix = dir.str() + "/";
        for (const auto& group : groups) {
            out.emplace_back();
            for (const auto& member : group) {
                std::string path = member.at("path");
                out.back().push_back(path.rfind(prefix, 0) == 0 ? path.substr(prefix.size()) : path);
            }
        }
        return out;
    }

};

TEST_F(DupesCommandTest, JsonGivesEqualFilesWithSizesAndIdenticalFoldersAsFolders) {
    writeFile(dir / "report.txt", "Quarterly report\n");
    writeFile(dir / "Downloads/report (1).txt", "Quarterly report\n");
    writeFile(dir / "Downloads/todo.txt", "Sort the pictures.\n");
    for (const char* album : {"Trip", "Trip copy"}) {
        writeFile(dir / (std::string(album) + "/day1.txt"), "Day one\n");
        writeFile(dir / (std::string(album) + "/day2.txt"), "Day two, rain\n");
    }

    // A trailing slash on the root does not show in the paths.
    json doc = dupes("", dir.str() + "/");
    // Members by path and groups by their first member, byte-wise.
    json expected = {{"duplicates",
                      {{{{"path", dir / "Downloads/report (1).txt"}, {"size", 17}},
                        {{"path", dir / "report.txt"}, {"size", 17}}},
                       {{{"path", dir / "Trip"}, {"size", 22}}, {{"path", dir / "Trip copy"}, {"size", 22}}}}},
                     {"similar", json::array()}};
    EXPECT_EQ(doc, expected);
    // One thread finds what all of them find.
    EXPECT_EQ(dupes("--threads 1", dir.str()), expected);
}

TEST_F(DupesCommandTest, ExclusionsMinimumSizeAndHiddenFoldersNarrowTheSearch) {
    writeFileOfSize(dir / "big1.dat", 100);
    writeFileOfSize(dir / "big2.dat", 100);
    writeFileOfSize(dir / "skip/big3.dat", 100);
    writeFileOfSize(dir / ".cache/big4.dat", 100);
    writeFile(dir / ".cache/index", "cache index");  // so that .cache is no twin of skip
    writeFile(dir / "a.log", "log line\n");
    writeFile(dir / "b.log", "log line\n");
    writeFile(dir / "small1.txt", "tiny");
    writeFile(dir / "small2.txt", "tiny");

    EXPECT_EQ(relative(dupes("", dir.str())["duplicates"]),
              (Groups{{"a.log", "b.log"}, {"big1.dat", "big2.dat", "skip/big3.dat"}, {"small1.txt", "small2.txt"}}));
    // Extensions with and without the dot; an excluded folder with a
    // trailing slash.
    EXPECT_EQ(relative(dupes("--exclude '" + (dir / "skip") + "/' --exclude-ext log --exclude-ext .txt", dir.str())
                           ["duplicates"]),
              (Groups{{"big1.dat", "big2.dat"}}));
    // Where the size limit falls is the walk's (tested with it).
    EXPECT_EQ(relative(dupes("--min-size 5 --hidden --exclude-ext log", dir.str())["duplicates"]),
              (Groups{{".cache/big4.dat", "big1.dat", "big2.dat", "skip/big3.dat"}}));
}

// Which libraries a run loaded, in the dynamic loader's own words: the
// image library is loaded only when a picture of a format other than JPEG
// and PNG (decoded without it) is really decoded.
TEST_F(DupesCommandTest, OnlyOtherFormatsThanJpegAndPngLoadTheImageLibrary) {
    writeFile(dir / "a.jpg", encodeJpeg(horizontalGradient(64, 48), 64, 48, 1));
    writeFile(dir / "b.jpg", encodeJpeg(horizontalGradient(48, 64), 48, 64, 1));
    writeFile(dir / "p.png", testing_support::encodePng(horizontalGradient(40, 30), 40, 30,
                                                        {testing_support::PngColor::gray, 8, false, {}, {}, {}}));
    writeFile(dir / "c.txt", "same");
    writeFile(dir / "d.txt", "same");
    std::string root = " '" + dir.str() + "'";
    ::setenv("LD_DEBUG", "files", 1);
    SweeperRun only = runSweeper("--json --quiet dupes --only-duplicates" + root);
    SweeperRun full = runSweeper("--json --quiet dupes" + root);
    // A one-pixel GIF: signature, screen, two colours, one image, trailer.
    writeFile(dir / "e.gif", std::string("GIF89a\x01\0\x01\0\x80\0\0\0\0\0\xFF\xFF\xFF,\0\0\0\0\x01\0\x01\0\0"
                                         "\x02\x02\x44\x01\0;", 35));
    SweeperRun withGif = runSweeper("--json --quiet dupes" + root);
    ::unsetenv("LD_DEBUG");
    EXPECT_EQ(only.status, 0);
    EXPECT_EQ(full.status, 0);
    EXPECT_EQ(json::parse(only.out), (json{{"duplicates", {{{{"path", dir / "c.txt"}, {"size", 4}}, {{"path", dir / "d.txt"}, {"size", 4}}}}},
                                           {"similar", json::array()}}));
    // The pictures were decoded and compared: the gradients are alike.
    EXPECT_FALSE(json::parse(full.out)["similar"].empty()) << full.out;
    EXPECT_EQ(only.err.find("libvips"), std::string::npos) << only.err;
    // Nor are the codecs opened before a picture is decoded.
    EXPECT_EQ(only.err.find("libjpeg"), std::string::npos) << only.err;
    EXPECT_NE(full.err.find("libjpeg"), std::string::npos) << full.err;
    EXPECT_EQ(full.err.find("libvips"), std::string::npos) << full.err;
    EXPECT_NE(withGif.err.find("libvips"), std::string::npos) << "the loader's report names it when it is loaded";
}

// Files whose names promise pictures: other bytes, a truncated JPEG and a
// PNG damaged past its header. The library logs the two that fail to
// decode; a quiet run keeps its standard error free of that log.
TEST_F(DupesCommandTest, AQuietRunOnUndecodablePicturesLeavesStandardErrorEmpty) {
    writeFile(dir / "notes.jpg", "plain text, not a picture");
    writeFile(dir / "archive.png", "PK\x03\x04 an archive");
    writeFile(dir / "empty.png", "");
    std::string jpeg = encodeJpeg(horizontalGradient(64, 48), 64, 48, 1);
    writeFile(dir / "cut.jpg", jpeg.substr(0, jpeg.size() / 2));
    std::string png = "\x89PNG\r\n\x1A\n";
    png += std::string("\0\0\0\x0DIHDR\0\0\0\x10\0\0\0\x10\x08\0\0\0\0", 21) + "damaged beyond the header";
    writeFile(dir / "broken.png", png);
    SweeperRun loud = runSweeper("--json dupes '" + dir.str() + "'");
    EXPECT_NE(loud.err.find("duplicates: Failed to decode picture: " + dir / "cut.jpg"), std::string::npos) << loud.err;
    EXPECT_EQ(loud.err.find("notes.jpg"), std::string::npos) << "a name alone is no failure";
    SweeperRun run = runSweeper("--json --quiet dupes '" + dir.str() + "'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    json doc = json::parse(run.out, nullptr, false);
    EXPECT_EQ(doc, (json{{"duplicates", json::array()}, {"similar", json::array()}}));
}

TEST_F(DupesCommandTest, TextListsGroupsApartAndTheBytesToFree) {
    writeFileOfSize(dir / "one/a.dat", 1000, 'a');
    writeFileOfSize(dir / "two/a.dat", 1000, 'a');
    writeFileOfSize(dir / "three/a.dat", 1000, 'a');
    for (const char* folder : {"one", "two", "three"}) writeFile(dir / (std::string(folder) + "/" + folder), folder);
    writeFile(dir / "x.txt", "twice\n");
    writeFile(dir / "y.txt", "twice\n");
    std::vector<uint8_t> gradient = horizontalGradient(64, 48);
    writeFile(dir / "p.jpg", encodeJpeg(gradient, 64, 48, 1));
    gradient[0] ^= 0x40;
    writeFile(dir / "q.jpg", encodeJpeg(gradient, 64, 48, 1, {.exifSegment = "", .orientation = 0, .quality = 70}));

    SweeperRun run = runSweeper("dupes '" + dir.str() + "'");
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string& out = run.out;
    size_t first = out.find("Duplicates 1 (3):\n"), second = out.find("Duplicates 2 (2):\n");
    size_t similar = out.find("\nSimilar pictures 1 (2):\n");
    ASSERT_NE(first, std::string::npos) << out;
    ASSERT_NE(second, std::string::npos) << out;
    ASSERT_NE(similar, std::string::npos) << out;
    EXPECT_LT(first, second);
    EXPECT_LT(second, similar);
    EXPECT_LT(out.find(dir / "one/a.dat"), out.find(dir / "three/a.dat"));
    EXPECT_LT(out.find(dir / "three/a.dat"), out.find(dir / "two/a.dat"));
    EXPECT_GT(out.find(dir / "q.jpg"), similar);
    // Two spare copies of 1000 bytes and one of 6.
    EXPECT_NE(out.find("2 duplicate groups, 1 similar groups; removing all but one of each duplicate group frees "),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("(2006 bytes)\n"), std::string::npos) << out;
}

TEST_F(DupesCommandTest, BadRootsFailWithTheirExitCodes) {
    SweeperRun run = runSweeper("dupes '" + (dir / "missing") + "'");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(dir / "missing"), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty());

    writeFile(dir / "file.txt", "not a folder");
    run = runSweeper("--json dupes '" + (dir / "file.txt") + "'");
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("is not a folder"), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty());

    EXPECT_EQ(runSweeper("dupes").status, 2);
    EXPECT_EQ(runSweeper("dupes --min-size -1 '" + dir.str() + "'").status, 2);
}

TEST_F(DupesCommandTest, NamesThatAreNotUtf8GetReplacementCharacters) {
    writeFile(dir / "bad\xff.txt", "same bytes");
    writeFile(dir / "caf\xc3.txt", "same bytes");
    json doc = dupes("", dir.str());
    EXPECT_EQ(relative(doc["duplicates"]), (Groups{{"bad\xEF\xBF\xBD.txt", "caf\xEF\xBF\xBD.txt"}}));
}

}  // namespace
