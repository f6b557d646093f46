// Runs the built console host on files the test writes and checks what it
// prints. Skipped in builds without the tools (the sanitizer presets).
#include "support/ExifBuilder.h"
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

using testing_support::ExifBuilder;
using testing_support::runSweeper;

using ExifCommandTest = testing_support::SweeperTest;

TEST_F(ExifCommandTest, JsonHasTheCodeAndTheNamedFields) {
    // A corrupt GPS pointer: the code says so, and what came before is shown.
    ExifBuilder b(false);
    b.ascii(ExifBuilder::Ifd::zero, 271, "Ma\xE9ker")  // not UTF-8: shown as Latin-1
        .shorts(ExifBuilder::Ifd::exif, 37385, {0x07})
        .longs(ExifBuilder::Ifd::zero, 34853, {99999});
    testing_support::writeFile(dir / "a.jpg", testing_support::jpegWith(b.segment()));

    nlohmann::json doc = testing_support::parsedOutput(runSweeper("--json exif " + (dir / "a.jpg")));
    EXPECT_EQ(doc["code"], 1985);
    const auto& f = doc["fields"];
    EXPECT_EQ(f["ByteAlign"], false);
    EXPECT_EQ(f["Make"], "Ma\xC3\xA9ker");
    EXPECT_EQ(f["Flash"]["fired"], true);
    EXPECT_EQ(f["Flash"]["returnedLight"], 3);
    EXPECT_EQ(f["GeoLocation"]["LatComponents"]["direction"], "?");
    EXPECT_EQ(f["GeoLocation"]["Altitude"], 0.0);
    EXPECT_EQ(f["LensInfo"]["FocalPlaneResolutionUnit"], 0);
}

TEST_F(ExifCommandTest, TextModeAndFailures) {
    testing_support::writeFile(dir / "b.jpg", testing_support::jpegWith(testing_support::cameraExif(true).segment()));
    auto text = runSweeper("exif " + (dir / "b.jpg"));
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out.rfind("code: 0 (success)\n", 0), 0u) << text.out;
    EXPECT_NE(text.out.find("\nModel: Model 7\n"), std::string::npos);
    EXPECT_NE(text.out.find("\n    direction: N\n"), std::string::npos);

    EXPECT_EQ(runSweeper("exif " + (dir / "missing.jpg")).status, 1);
    auto none = runSweeper("--json exif " + (dir / "missing.jpg"));
    EXPECT_EQ(none.out, "");  // nothing but JSON on stdout, and no JSON for a failure
    EXPECT_EQ(runSweeper("exif").status, 2);
}

}  // namespace
