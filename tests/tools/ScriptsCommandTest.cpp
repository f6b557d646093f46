// Runs "sweeper scripts" and "sweeper uninstall" on script tables of the
// test's own, enciphered as the build enciphers the shipped one.
#include "Core/rules/AESHelper.h"

#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>

namespace {

using nlohmann::json;
using testing_support::parsedOutput;

class ScriptsCommandTest : public testing_support::SweeperTest {
protected:
    void writeScripts(const std::string& xml) {
        testing_support::writeFile(dir / "scripts.txt", *Core::AESHelper::shared().encrypt(xml));
    }
    testing_support::SweeperRun sweeper(const std::string& arguments) {
        return testing_support::runSweeper("--json --resources '" + dir.str() + "' " + arguments);
    }
};

TEST_F(ScriptsCommandTest, ListsTheTable) {
    EXPECT_EQ(parsedOutput(sweeper("scripts")), json({{"scripts", json::array()}}));

    writeScripts("<scripts><app id='com.b'><script useAdminPrivileges='true'> x &amp; y </script></app>"
                 "<app id='com.a'><uninstaller>u</uninstaller></app></scripts>");
    auto scripts = parsedOutput(sweeper("scripts")).at("scripts");
    std::sort(scripts.begin(), scripts.end(), [](const json& a, const json& b) { return a.at("id") < b.at("id"); });
    EXPECT_EQ(scripts, json::parse(R"([
        {"id": "com.a", "useAdminPrivileges": false, "uninstaller": "u", "script": null},
        {"id": "com.b", "useAdminPrivileges": true, "uninstaller": null, "script": " x & y "}])"));
}

// Which documents are bad is the table's to say (tested with it); the
// command gives its message and fails.
TEST_F(ScriptsCommandTest, ABadDocumentFails) {
    testing_support::writeFile(dir / "scripts.txt", "<scripts/>");
    auto plain = sweeper("scripts");
    EXPECT_EQ(plain.status, 1);
    EXPECT_NE(plain.err.find("decipher"), std::string::npos) << plain.err;
}

TEST_F(ScriptsCommandTest, UninstallRunsInPlaceAndPrintsTheCallback) {
    const std::string marker = dir / "uninstalled";
    writeScripts("<scripts><app id='com.a'><uninstaller>touch '" + marker +
                 "'</uninstaller><script useAdminPrivileges='true'>helper step</script></app></scripts>");
    EXPECT_EQ(parsedOutput(sweeper("uninstall COM.A com.unknown")),
              json({{"success", true}, {"scripts", {"helper step"}}, {"files", json::array()}}));
    EXPECT_TRUE(std::filesystem::exists(marker));
}

}  // namespace
