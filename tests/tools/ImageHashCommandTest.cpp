// The imagehash command on pictures the test writes. Skipped in builds
// without the tools (the sanitizer presets).
#include "support/ExifBuilder.h"
#include "support/ImageBuilder.h"
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace {

using testing_support::runSweeper;

using ImageHashCommand = testing_support::SweeperTest;

TEST_F(ImageHashCommand, JsonHasBothHashesAndErrorsPerFile) {
    // Flat gray gives no bits; a falling gradient sets nearly all of dHash.
    testing_support::writeFile(dir / "flat.jpg", testing_support::encodeJpeg(std::vector<uint8_t>(36 * 32, 90), 36, 32, 1));
    testing_support::ExifBuilder exif;
    exif.ascii(testing_support::ExifBuilder::Ifd::exif, 36867, "garbage");
    testing_support::writeFile(dir / "ramp.jpg",
                               testing_support::encodeJpeg(testing_support::horizontalGradient(72, 64), 72, 64, 1,
                                                           {exif.segment(), 0, 95}));
    testing_support::writeFile(dir / "bad.jpg", "no picture");

    auto run = runSweeper("--json imagehash " + (dir / "flat.jpg") + " " + (dir / "ramp.jpg") + " " + (dir / "bad.jpg"));
    EXPECT_EQ(run.status, 1) << "one file did not decode";
    nlohmann::json doc = nlohmann::json::parse(run.out);
    const auto& images = doc.at("images");
    ASSERT_EQ(images.size(), 3u);

    EXPECT_EQ(images[0]["path"], dir / "flat.jpg");
    EXPECT_EQ(images[0]["aHash"], std::string(64, '0'));
    EXPECT_EQ(images[0]["dHash"], std::string(68, '0'));
    EXPECT_EQ(images[0]["date"], "");

    // A falling gradient sets dHash bits (their order is the hash's own test).
    EXPECT_NE(images[1]["dHash"], std::string(68, '0'));
    EXPECT_EQ(images[1]["date"], "0.000000");

    EXPECT_EQ(images[2]["error"], "Failed to read image");
    EXPECT_FALSE(images[2].contains("aHash"));

    EXPECT_EQ(runSweeper("imagehash").status, 2);
    EXPECT_EQ(runSweeper("imagehash " + (dir / "flat.jpg")).status, 0);
}

}  // namespace
