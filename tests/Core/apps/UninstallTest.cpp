// The uninstall script table (good, odd and broken documents), the runner's
// outcome rule, and uninstallApp with real scripts under /bin/sh.
#include "Core/apps/UninstallApp.h"
#include "Core/apps/UninstallScriptsManager.h"
#include "Core/rules/AESHelper.h"

#include "support/Await.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using Core::UninstallScriptsManager;

const Core::UninstallScript& entry(const UninstallScriptsManager& m, const std::string& id) {
    return m.uninstallScripts().at(id);
}

TEST(UninstallScriptsTest, EntriesKeepBothTextsAndTheLastFlag) {
    UninstallScriptsManager m(R"(<?xml version="1.0" encoding="ISO-8859-1"?>
<scripts>
  <app id="com.a"><uninstaller>echo &quot;u&quot; &gt; /dev/null</uninstaller><script useAdminPrivileges="true">rm -f /x</script></app>
  <app id="com.b"><script useAdminPrivileges="TRUE">b</script></app>
  <app id="com.c"><script useAdminPrivileges="true">c</script><uninstaller>u</uninstaller></app>
  <app id="com.d"><script><![CDATA[if [ 1 < 2 ]; then :; fi]]> and <b>bold</b> text</script></app>
  <app><script useAdminPrivileges="true">no id</script></app>
  <app id="com.e"/>
  <app id="x.y"><uninstaller useAdminPrivileges="true">a &amp;&amp; b
&#233;</uninstaller><script useAdminPrivileges="true">s</script></app>
  <app id="COM.A"><script>later</script></app>
  <other id="com.f"><script>not an app</script></other>
  <script>outside</script>
</scripts>)");
    ASSERT_FALSE(m.error()) << *m.error();
    EXPECT_EQ(m.uninstallScripts().size(), 6u);

    // A later entry with the same id (in any case) replaces the earlier one.
    const auto& a = entry(m, "com.a");
    EXPECT_EQ(a.id->origin(), "COM.A");
    EXPECT_EQ(a.scriptString, "later");
    EXPECT_FALSE(a.uninstallerScript);
    EXPECT_FALSE(a.useAdminPrivileges);

    EXPECT_FALSE(entry(m, "com.b").useAdminPrivileges) << "only the exact text \"true\" counts";
    const auto& c = entry(m, "com.c");
    EXPECT_FALSE(c.useAdminPrivileges) << "the last script or uninstaller element decides";
    EXPECT_EQ(c.scriptString, "c");
    EXPECT_EQ(c.uninstallerScript, "u");
    EXPECT_EQ(entry(m, "com.d").scriptString, "if [ 1 < 2 ]; then :; fi and bold text");
    EXPECT_FALSE(entry(m, "com.e").scriptString);
    const auto& entities = entry(m, "X.Y");
    EXPECT_TRUE(entities.useAdminPrivileges);
    EXPECT_EQ(entities.uninstallerScript, "a && b\n\xC3\xA9");
    EXPECT_EQ(entities.scriptString, "s");
    EXPECT_FALSE(m.uninstallScripts().contains("com.f"));
}

TEST(UninstallScriptsTest, BrokenDocumentsLeaveTheTableEmpty) {
    for (const char* text : {"", "not xml at all", "<scripts><app id='a'><script>x</script></app>",
                             "<scripts><app id='a'><script>x</app></scripts>", "<scripts></scripts><extra/>",
                             "<scripts><app id='a' id='b'/></scripts>", "\xFF\xFE<scripts/>"}) {
        UninstallScriptsManager m(text);
        EXPECT_TRUE(m.uninstallScripts().empty()) << text;
        ASSERT_TRUE(m.error()) << text;
        EXPECT_NE(m.error()->find("line "), std::string::npos) << *m.error();
    }
    // An entry completed before the error is dropped too.
    UninstallScriptsManager partial("<scripts><app id='a'><script>x</script></app><app id='b'></scripts>");
    EXPECT_TRUE(partial.uninstallScripts().empty());
}

TEST(UninstallScriptsTest, EncipheredDocuments) {
    testing_support::TempDir dir;
    EXPECT_FALSE(UninstallScriptsManager::fromEncipheredFile(dir / "missing.txt").error());

    auto cipher = Core::AESHelper::shared().encrypt("<scripts><app id='a'><script>s</script></app></scripts>");
    ASSERT_TRUE(cipher);
    testing_support::writeFile(dir / "good.txt", *cipher);
    auto good = UninstallScriptsManager::fromEncipheredFile(dir / "good.txt");
    EXPECT_FALSE(good.error());
    EXPECT_EQ(entry(good, "a").scriptString, "s");

    testing_support::writeFile(dir / "latin1.txt", *Core::AESHelper::shared().encrypt("<s>\xE9</s>"));
    auto latin1 = UninstallScriptsManager::fromEncipheredFile(dir / "latin1.txt");
    ASSERT_TRUE(latin1.error());
    EXPECT_NE(latin1.error()->find("UTF-8"), std::string::npos);

    auto shipped = UninstallScriptsManager::fromEncipheredFile(std::string(CORE_TEST_RESOURCES_DIR) + "/scripts.txt");
    EXPECT_FALSE(shipped.error());
    EXPECT_TRUE(entry(shipped, "com.docker.docker").useAdminPrivileges);
}

TEST(UninstallRunnerTest, OnlyTheMarkerInTheOutputFails) {
    EXPECT_TRUE(Core::runUninstallerScript("echo done"));
    EXPECT_TRUE(Core::runUninstallerScript("exit 3"));
    EXPECT_TRUE(Core::runUninstallerScript(""));
    EXPECT_FALSE(Core::runUninstallerScript("echo 'step 1 ok'; echo 'uninstallFailed: busy'; exit 0"));
    EXPECT_FALSE(Core::runUninstallerScript("echo uninstallFailed >&2")) << "standard error shares the pipe";
    EXPECT_TRUE(Core::runUninstallerScript("printf '\\377uninstallFailed'")) << "output that is no text says nothing";
    // More output than a pipe holds: read to the end before the wait.
    EXPECT_FALSE(Core::runUninstallerScript("head -c 300000 /dev/zero | tr '\\0' x; echo uninstallFailed"));
}

class UninstallAppTest : public testing::Test {
protected:
    std::string append(const std::string& word) { return "echo " + word + " >> '" + dir / "ran" + "'"; }
    testing_support::TempDir dir;
};

TEST_F(UninstallAppTest, FlaggedEntriesRunInPlaceAndHandOverTheirScripts) {
    UninstallScriptsManager table(
        "<scripts>"
        "<app id='com.a'><uninstaller>" + append("a") + "</uninstaller><script useAdminPrivileges='true'>sA</script></app>"
        "<app id='com.b'><uninstaller>" + append("b") + "</uninstaller><script useAdminPrivileges='false'>sB</script></app>"
        "<app id='com.c'><uninstaller>" + append("c") + "; echo uninstallFailed</uninstaller>"
        "<script useAdminPrivileges='true'>sC</script></app>"
        "<app id='com.d'><script useAdminPrivileges='true'>sD</script></app>"
        "<app id='com.z'><uninstaller>" + append("z") + "</uninstaller><script useAdminPrivileges='true'>sZ</script></app>"
        "</scripts>");
    ASSERT_FALSE(table.error()) << *table.error();

    int calls = 0;
    Core::uninstallApp(table,
                       {{"COM.A", {"/Applications/A.app", "/x/a"}},
                        {"com.b", {"/Applications/B.app"}},
                        {"com.C", {}},
                        {"com.d", {"/Applications/D.app"}},
                        {"com.e", {"/Applications/E.app"}}},
                       [&](bool success, const auto& scripts, const auto& files) {
                           ++calls;
                           EXPECT_TRUE(success);
                           EXPECT_EQ(scripts, (std::vector<std::string>{"sA", "sC", "sD"}));
                           EXPECT_EQ(files, (std::vector<std::string>{"/Applications/A.app", "/x/a", "/Applications/B.app",
                                                                      "/Applications/D.app", "/Applications/E.app"}));
                       });
    EXPECT_EQ(calls, 1) << "the callback comes before the call returns";
    EXPECT_EQ(testing_support::readFile(dir / "ran"), "a\nc\n") << "in order, only the flagged ones, also after a failure";
}

TEST_F(UninstallAppTest, SharedLicenseRemovalRunsOnTheGlobalQueue) {
    testing_support::ScopedLayout layout(dir.str(), dir.str());
    layout.setResources(dir.str());
    testing_support::writeFile(dir / "ms_license_remove.sh", append("license") + "\n");
    UninstallScriptsManager table(
        "<scripts><app id='com.microsoft.license.remove'><script useAdminPrivileges='true'>exit 0</script></app></scripts>");
    testing_support::Flag finished;
    std::vector<std::string> handed;
    Core::uninstallApp(table, {{"COM.Microsoft.License.Remove", {}}},
                       [&](bool, const auto& scripts, const auto&) { handed = scripts; },
                       {.licenseRemovalFinished = [&] { finished.set(); }});
    EXPECT_EQ(handed, (std::vector<std::string>{"exit 0"}));
    ASSERT_TRUE(finished.await());
    EXPECT_EQ(testing_support::readFile(dir / "ran"), "license\n");
}

}  // namespace
