// Runs "sweeper rules", "list", "dirsize", "helper ping|serve" and "demo".
// Skipped in builds without the tools (the sanitizer presets).
#include "Core/helper/internal/HelperSocketConnection.h"
#include "support/Await.h"
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <string>

namespace {

using nlohmann::json;
using testing_support::allocated;
using testing_support::parsedOutput;
using testing_support::runSweeper;
using testing_support::SweeperRun;
using testing_support::writeFile;

// Root's rights to pass file permission checks are dropped from the run, so
// that a folder of mode 0 is unreadable to it.
const char* const kWithoutFileRights = "setpriv --bounding-set=-dac_override,-dac_read_search";

using CommandTest = testing_support::SweeperTest;

constexpr const char* kRuleDocument = R"(com.foo:
  caches: {cache: ["Lib/Caches/com.foo"]}
  ids: [com.foo.helper]
  organization: Foo Labs
"*":
  caches: {cache: ["Lib/Caches/**"]}
)";

TEST_F(CommandTest, RulesEncipherDecipherAndCheckADocument) {
    writeFile(dir / "rules.yaml", kRuleDocument);
    SweeperRun enciphered = runSweeper("rules encrypt '" + (dir / "rules.yaml") + "'");
    ASSERT_EQ(enciphered.status, 0) << enciphered.err;
    EXPECT_EQ(enciphered.out.find("com.foo"), std::string::npos) << "the text is enciphered";
    writeFile(dir / "rules.txt", enciphered.out);

    SweeperRun deciphered = runSweeper("rules decrypt '" + (dir / "rules.txt") + "'");
    ASSERT_EQ(deciphered.status, 0) << deciphered.err;
    EXPECT_EQ(deciphered.out, kRuleDocument);
    EXPECT_EQ(parsedOutput(runSweeper("--json rules check '" + (dir / "rules.txt") + "'")),
              (json{{"entries", 2}, {"bundleIDs", 1}, {"patterns", 0}, {"base", true}, {"black", false},
                    {"system", false}}));

    // A plain document is neither deciphered nor checked.
    for (const char* command : {"rules decrypt", "rules check"}) {
        SweeperRun plain = runSweeper(std::string(command) + " '" + (dir / "rules.yaml") + "'");
        EXPECT_EQ(plain.status, 1) << command;
        EXPECT_NE(plain.err.find("does not decipher"), std::string::npos) << command << ": " << plain.err;
        EXPECT_TRUE(plain.out.empty()) << command;
    }
}

TEST_F(CommandTest, RulesTreeAndIdsOfAPlainDocument) {
    writeFile(dir / "rules.yaml", kRuleDocument);
    const std::string doc = " --doc '" + (dir / "rules.yaml") + "'";
    json tree = parsedOutput(runSweeper("--json --home /h rules tree" + doc));
    json leaves = json::array();
    ASSERT_EQ(tree.at("roots").size(), 1u) << tree;
    EXPECT_EQ(tree["roots"][0]["root"], "/h/Library");
    const json& caches = tree["roots"][0]["nodes"].at(0);
    EXPECT_EQ(caches.at("matcher"), (json{{"string", "Caches"}}));
    // The named leaf ahead of the one that takes any name.
    for (const auto& leaf : caches.at("children"))
        leaves.push_back({leaf.at("matcher"), leaf.at("priority"), leaf.at("rule"), leaf.at("kind")});
    EXPECT_EQ(leaves, json::parse(R"([[{"string": "com.foo"}, 40, {"bundleID": "com.foo"}, "cache"],
                                      ["id", 10, "base", "cache"]])"));

    json ids = parsedOutput(runSweeper("--json --home /h rules ids COM.FOO" + doc));
    EXPECT_EQ(ids.at("matcherIDs").size(), 3u) << "the folder and both leaves";
    EXPECT_EQ(ids.at("extraIDs"), json({"com.foo.helper"}));
    EXPECT_EQ(ids.at("organization"), "Foo Labs");
    json unknown = parsedOutput(runSweeper("--json --home /h rules ids org.other" + doc));
    EXPECT_EQ(unknown.at("matcherIDs").size(), 2u) << "the base rule's folder and leaf only";
    EXPECT_EQ(unknown.at("organization"), nullptr);
}

// Both ways of listing give the same: folders apart, allocated sizes, links
// and special files by their type and never followed.
TEST_F(CommandTest, ListGivesFoldersAndTypedFilesEitherWay) {
    testing_support::writeFileOfSize(dir / "a.bin", 5000);
    std::filesystem::create_directory(dir / "sub");
    std::filesystem::create_symlink("a.bin", dir / "link");
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    json expected = {{"folders", {{{"path", dir / "sub"}}}},
                     {"files",
                      {{{"path", dir / "a.bin"}, {"size", allocated(dir / "a.bin")}, {"type", "normal"}},
                       {{"path", dir / "fifo"}, {"size", 0}, {"type", "special"}},
                       {{"path", dir / "link"}, {"size", 0}, {"type", "symlink"}}}}};
    auto byPath = [](json list) {
        std::sort(list.begin(), list.end(), [](const json& a, const json& b) { return a["path"] < b["path"]; });
        return list;
    };
    for (const char* method : {"", "--entry-by-entry "}) {
        json listing = parsedOutput(runSweeper("--json list " + std::string(method) + "'" + dir.str() + "'"));
        EXPECT_EQ(listing["folders"], expected["folders"]) << method;
        EXPECT_EQ(byPath(listing["files"]), expected["files"]) << method;
    }
    SweeperRun missing = runSweeper("list '" + (dir / "missing") + "'");
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find(dir / "missing"), std::string::npos) << missing.err;
    SweeperRun file = runSweeper("list '" + (dir / "a.bin") + "'");
    EXPECT_EQ(file.status, 1);
    EXPECT_NE(file.err.find("is not a folder"), std::string::npos) << file.err;
}

// What can't be read is left out and its errno given; the rest still counts.
TEST_F(CommandTest, DirsizeSumsWhatItCanReadAndNamesTheError) {
    testing_support::writeFileOfSize(dir / "a.bin", 5000);
    testing_support::writeFileOfSize(dir / "deep/b.bin", 9000);
    testing_support::writeFileOfSize(dir / "locked/c.bin", 9000);
    std::filesystem::create_symlink("a.bin", dir / "link");
    const int64_t readable = allocated(dir / "a.bin") + allocated(dir / "deep/b.bin");
    ASSERT_EQ(::chmod((dir / "locked").c_str(), 0), 0);

    const std::string arguments = "--json dirsize '" + dir.str() + "'";
    EXPECT_EQ(parsedOutput(runSweeper(arguments, "", kWithoutFileRights)),
              (json{{"path", dir.str()}, {"size", readable}, {"error", EACCES}}));
    SweeperRun text = runSweeper("dirsize '" + dir.str() + "'", "", kWithoutFileRights);
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out.substr(0, text.out.find('\t')), std::to_string(readable)) << text.out;
    EXPECT_NE(text.err.find("Permission denied"), std::string::npos) << text.err;
    ::chmod((dir / "locked").c_str(), 0700);

    EXPECT_EQ(parsedOutput(runSweeper(arguments))["size"], readable + allocated(dir / "locked/c.bin"));
    EXPECT_EQ(runSweeper("dirsize '" + (dir / "missing") + "'").status, 1);
}

// Ping connects as the library does: it fails while no tool is installed
// under the root, and is answered by the one that a maintenance command
// installed (and ran its command through).
TEST_F(CommandTest, HelperPingIsAnsweredOnlyByAnInstalledTool) {
    const std::string root = " --root '" + dir.str() + "/root' ";
    SweeperRun before = runSweeper("--json" + root + "helper ping");
    EXPECT_EQ(before.status, 1);
    EXPECT_NE(before.err.find("not installed"), std::string::npos) << before.err;

    std::string tool = dir / "root/usr/bin/resolvectl";
    writeFile(tool, "#!/bin/sh\n");
    ::chmod(tool.c_str(), 0755);
    SweeperRun install = runSweeper("--json" + root + "maintenance dns");
    SweeperRun ping = runSweeper("--json" + root + "helper ping");
    std::ifstream pidFile(dir / "root/var/run/com.oxmerl.MerlSweeper.PrivilegedHelperTool.socket.pid");
    pid_t pid = 0;
    if (pidFile >> pid && pid > 1) ::kill(pid, SIGTERM);
    EXPECT_EQ(parsedOutput(install), (json{{"ok", true}}));
    EXPECT_EQ(parsedOutput(ping),
              (json{{"socket", dir.str() + "/root/var/run/com.oxmerl.MerlSweeper.PrivilegedHelperTool.socket"},
                    {"answered", true}}));
}

// "helper serve" answers a client on the socket it is given and ends with
// status 0 on a stop signal. Root is served whatever runs it; any other user
// needs an installed tool naming its host, so the test runs as root only.
TEST_F(CommandTest, HelperServeAnswersAClientAndEndsOnAStopSignal) {
    if (::geteuid() != 0) GTEST_SKIP() << "a client other than root needs an installed tool";
    const std::string socket = dir / "helper.socket";
    // The pid file is written once the socket listens.
    int watch = ::inotify_init1(IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, dir.str().c_str(), IN_CLOSE_WRITE), 0);
    const std::string root = dir / "root";
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        ::execl(testing_support::sweeperPath().c_str(), "sweeper", "--root", root.c_str(), "helper", "serve",
                "--socket", socket.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    auto reaped = std::async(std::launch::async, [pid] {
        int status = 0;
        return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    });
    bool listening = false;
    alignas(inotify_event) char events[4096];
    for (pollfd ready{watch, POLLIN, 0}; !listening && ::poll(&ready, 1, 30000) > 0;) {
        ssize_t length = ::read(watch, events, sizeof events);
        for (ssize_t at = 0; at < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(events + at);
            listening = listening || (event->len > 0 && std::string(event->name) == "helper.socket.pid");
            at += ssize_t(sizeof(inotify_event) + event->len);
        }
    }
    ::close(watch);
    EXPECT_TRUE(listening);

    Core::internal::HelperSocketConnection connection(socket);
    testing_support::Flag answered;
    auto helper = connection.remoteObjectProxyWithErrorHandler([] {});
    connection.resume();
    helper->test([&] { answered.set(); });
    EXPECT_TRUE(answered.await());
    connection.invalidate();

    ::kill(pid, SIGTERM);
    if (reaped.wait_for(testing_support::kPatience) != std::future_status::ready) ::kill(pid, SIGKILL);
    EXPECT_EQ(reaped.get(), 0) << "a stop signal ends it cleanly";
}

// One run of the demo: its rules, junk, disk and duplicate parts. (The junk
// scan's rules are tested below the command; this checks the sample.)
TEST_F(CommandTest, DemoTourOfItsSamples) {
    json demo = parsedOutput(runSweeper("--json demo"));

    const json& rules = demo.at("rules");
    json shipped = parsedOutput(runSweeper("--json rules check"));
    EXPECT_EQ(rules.at("entries"), shipped.at("entries"));
    EXPECT_EQ(rules.at("bundleIDs"), shipped.at("bundleIDs"));
    EXPECT_GT(rules.at("allMatchers").get<int>(), rules.at("junkMatchers").get<int>());

    const json& junk = demo.at("junk");
    const std::string sampleRoot = junk.at("sampleRoot");
    EXPECT_EQ(junk.at("systemLogs").size(), 7u);
    ASSERT_EQ(junk.at("diskImages").size(), 1u);
    EXPECT_EQ(junk.at("diskImages")[0].at("path"), sampleRoot + "/Users/demo/Downloads/Installer.dmg");
    EXPECT_EQ(junk.at("appJunk").size(), 2u);
    EXPECT_EQ(junk.at("internetCaches").size(), 1u);
    ASSERT_EQ(junk.at("orphanJunk").size(), 1u);
    EXPECT_EQ(junk.at("orphanJunk")[0].at("id"), "com.removed.PhotoTool");
    EXPECT_EQ(junk.at("trash").size(), 2u);

    // The hard link is listed once, and counted under both its names.
    const json& disk = demo.at("disk");
    EXPECT_EQ(disk.at("folders"), 7);
    EXPECT_EQ(disk.at("files"), 4);
    EXPECT_LT(disk.at("listedBytes").get<int64_t>(), disk.at("directorySize").get<int64_t>());

    const json& duplicates = demo.at("duplicates");
    const std::string sample = duplicates.at("sampleFolder").get<std::string>() + "/";
    auto groups = [&](const json& found) {
        std::vector<std::vector<std::string>> out;
        for (const auto& group : found) {
            out.emplace_back();
            for (const auto& member : group) out.back().push_back(member.at("path").get<std::string>().substr(sample.size()));
        }
        return out;
    };
    using Groups = std::vector<std::vector<std::string>>;
    EXPECT_EQ(groups(duplicates.at("duplicates")),
              (Groups{{"Desktop/report copy.txt", "Documents/report.txt", "Downloads/report (1).txt"},
                      {"Documents", "Downloads"},
                      {"Trip", "Trip copy"}}));
    EXPECT_EQ(groups(duplicates.at("similar")), (Groups{{"Pictures/window edited.tif", "Pictures/window.tif"}}));
    EXPECT_FALSE(std::filesystem::exists(sample)) << "the demo removes its sample";
}

}  // namespace
