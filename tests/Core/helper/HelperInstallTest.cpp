#include "Core/helper/HelperConnection.h"
#include "Core/helper/HelperInstaller.h"
#include "Core/helper/internal/NumericCompare.h"
#include "Core/helper/internal/ToolInfo.h"
#include "HelperProcess.h"
#include "platform/Analytics.h"
#include "support/RecordingSink.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using Core::HelperConnection;
using Core::internal::compareNumerically;
using helper_testing::writeTool;
using testing_support::TempDir;

namespace {

std::string infoPlist(const std::string& version) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
           "<key>CFBundleVersion</key><string>" + version + "</string></dict></plist>\n";
}

class FakeInstaller final : public Core::HelperInstaller {
public:
    std::optional<std::string> bundledToolPath() const override { return bundled; }
    int createAuthorization(bool& hasReference) override {
        hasReference = giveReference;
        return authorizationStatus;
    }
    bool bless(const std::string& label, std::string& error) override {
        blessedLabel = label;
        if (!allowInstall) {
            error = "The operation couldn't be completed (denied)";
            return false;
        }
        fs::create_directories(fs::path(installedToolPath()).parent_path());
        fs::copy_file(*bundled, installedToolPath(), fs::copy_options::overwrite_existing);
        return true;
    }

    std::optional<std::string> bundled;
    int authorizationStatus = 0;
    bool giveReference = true;
    bool allowInstall = true;
    std::string blessedLabel;
};

std::vector<std::string> logLines;
void recordLog(const std::string& line) { logLines.push_back(line); }

class HelperInstallTest : public ::testing::Test {
protected:
    void SetUp() override {
        installer->bundled = dir / "app/core-helper";
        Core::HelperInstaller::setShared(installer);
        platform::AnalyticsSink::setShared(sink);
        logLines.clear();
        platform::setLogHandler(recordLog);
    }
    void TearDown() override {
        Core::HelperInstaller::setShared(nullptr);
        platform::AnalyticsSink::setShared(nullptr);
        platform::setLogHandler(nullptr);
    }
    std::string installedPath() const { return installer->installedToolPath(); }

    TempDir dir;
    testing_support::ScopedLayout layout{dir / "root", dir / "home"};
    std::shared_ptr<FakeInstaller> installer = std::make_shared<FakeInstaller>();
    std::shared_ptr<testing_support::RecordingSink> sink = std::make_shared<testing_support::RecordingSink>();
};

}  // namespace

TEST(NumericCompareTest, DigitRunsCompareByValue) {
    EXPECT_GT(compareNumerically("1.10", "1.9"), 0);
    EXPECT_LT(compareNumerically("1.9", "1.10"), 0);
    EXPECT_EQ(compareNumerically("1.0.7", "1.0.007"), 0);
    EXPECT_GT(compareNumerically("2", "1.99"), 0);
    EXPECT_GT(compareNumerically("1.0.1", "1.0"), 0);
    EXPECT_LT(compareNumerically("1.0b", "1.0c"), 0);
    EXPECT_GT(compareNumerically("100000000000000000000001", "99999999999999999999999"), 0);
    EXPECT_EQ(compareNumerically("", ""), 0);
}

TEST(ToolInfoTest, TheVersionComesFromTheEmbeddedList) {
    TempDir dir;
    writeTool(dir / "tool", infoPlist("2.4.1"));
    EXPECT_EQ(Core::internal::readToolBundleVersion(dir / "tool"), "2.4.1");
    writeTool(dir / "not-a-list", "plain words");
    EXPECT_FALSE(Core::internal::readToolBundleVersion(dir / "not-a-list"));
    writeTool(dir / "number", "<plist version=\"1.0\"><dict><key>CFBundleVersion</key><integer>3</integer></dict></plist>");
    EXPECT_FALSE(Core::internal::readToolBundleVersion(dir / "number"));
    testing_support::writeFile(dir / "script", "#!/bin/sh\necho\n");
    EXPECT_FALSE(Core::internal::readToolBundleVersion(dir / "script"));
    EXPECT_FALSE(Core::internal::readToolBundleVersion(dir / "missing"));
    // Cut short: the section table runs past the end of the file.
    std::string whole = testing_support::readFile(dir / "tool");
    testing_support::writeFile(dir / "cut", whole.substr(0, whole.size() - 10));
    EXPECT_FALSE(Core::internal::readToolBundleVersion(dir / "cut"));
}

TEST_F(HelperInstallTest, InstallIsNeededOnlyForAMissingUnreadableOrOlderTool) {
    writeTool(*installer->bundled, infoPlist("1.10"));
    EXPECT_EQ(installedPath(), dir / "root/Library/PrivilegedHelperTools/com.oxmerl.MerlSweeper.PrivilegedHelperTool");
    EXPECT_TRUE(HelperConnection::isNeedInstallHelper());  // nothing installed

    writeTool(installedPath(), infoPlist("1.10"));
    EXPECT_FALSE(HelperConnection::isNeedInstallHelper());  // same version
    writeTool(installedPath(), infoPlist("1.9"));
    EXPECT_TRUE(HelperConnection::isNeedInstallHelper());   // 1.10 is newer than 1.9
    writeTool(installedPath(), infoPlist("1.11"));
    EXPECT_FALSE(HelperConnection::isNeedInstallHelper());  // a newer installed tool stays
    testing_support::writeFile(installedPath(), "damaged");
    EXPECT_TRUE(HelperConnection::isNeedInstallHelper());   // unreadable installed tool
    writeTool(installedPath(), infoPlist("1.0"));
    installer->bundled.reset();
    EXPECT_TRUE(HelperConnection::isNeedInstallHelper());   // the application's copy can't be read
}

TEST_F(HelperInstallTest, InstallingReportsAuthorizationAndBlessOutcomes) {
    writeTool(*installer->bundled, infoPlist("3"));
    installer->authorizationStatus = -60005;
    EXPECT_FALSE(HelperConnection::installPrivilegedHelperTool());
    EXPECT_EQ(logLines, std::vector<std::string>{"[SMJBS]: Authorization failed with status code -60005"});
    EXPECT_TRUE(sink->events().empty());
    EXPECT_TRUE(installer->blessedLabel.empty());

    installer->authorizationStatus = 0;
    installer->giveReference = false;
    EXPECT_FALSE(HelperConnection::installPrivilegedHelperTool());
    EXPECT_TRUE(sink->events().empty());

    installer->giveReference = true;
    installer->allowInstall = false;
    EXPECT_FALSE(HelperConnection::installPrivilegedHelperTool());
    ASSERT_EQ(sink->events().size(), 1u);
    EXPECT_EQ(sink->events()[0].first, 65);
    EXPECT_EQ(sink->events()[0].second, (std::map<std::string, std::string>{
                                          {"status", "failed"},
                                          {"error", "Bless failed: The operation couldn't be completed (denied)"}}));

    installer->allowInstall = true;
    EXPECT_TRUE(HelperConnection::installPrivilegedHelperTool());
    EXPECT_EQ(installer->blessedLabel, "com.oxmerl.MerlSweeper.PrivilegedHelperTool");
    ASSERT_EQ(sink->events().size(), 2u);
    EXPECT_EQ(sink->events()[1].second, (std::map<std::string, std::string>{{"status", "ok"}}));
    EXPECT_FALSE(HelperConnection::isNeedInstallHelper());
}
