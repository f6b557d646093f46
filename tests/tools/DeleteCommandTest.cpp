// Runs "sweeper delete" on trees with sentinels beside the given paths and
// behind links out of them: what is deleted, trashed and shredded, the
// refusals, the question, the read-only case and the helper's scripts.
// Nothing outside the given paths may change in any run.
#include "support/Sweeper.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;
using nlohmann::json;
using testing_support::parsedOutput;
using testing_support::readFile;
using testing_support::SweeperRun;
using testing_support::TempDir;
using testing_support::writeFile;

namespace {

std::string shellQuoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// Every entry below `root` (links not followed) with what it holds: the
// bytes of a file, the target of a link, the kind of anything else.
std::map<std::string, std::string> snapshot(const fs::path& root) {
    std::map<std::string, std::string> entries;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(root, ec); it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        const fs::path& path = it->path();
        std::string key = path.lexically_relative(root).string();
        auto status = fs::symlink_status(path);
        if (fs::is_symlink(status))
            entries[key] = "link " + fs::read_symlink(path).string();
        else if (fs::is_regular_file(status))
            entries[key] = "file " + readFile(path);
        else
            entries[key] = "kind " + std::to_string(int(status.type()));
    }
    return entries;
}

// `before` less everything at or below the given relative paths.
std::map<std::string, std::string> without(std::map<std::string, std::string> entries,
                                           const std::vector<std::string>& removed) {
    std::erase_if(entries, [&](const auto& entry) {
        for (const auto& path : removed)
            if (entry.first == path || entry.first.starts_with(path + "/")) return true;
        return false;
    });
    return entries;
}

class DeleteCommandTest : public testing::Test {
protected:
    void SetUp() override {
        if (!testing_support::sweeperBuilt()) GTEST_SKIP() << "sweeper is not built here";
        // A tree to delete from, with links out of it, and sentinels.
        writeFile(dir / "victim/a.txt", "a");
        writeFile(dir / "victim/sub/b.txt", "b");
        writeFile(dir / "outside/file", "sentinel");
        writeFile(dir / "outside/inner/kept", "sentinel");
        writeFile(dir / "beside.txt", "sentinel");
        fs::create_symlink(dir / "outside", dir / "victim/link-to-folder");
        fs::create_symlink(dir / "outside/file", dir / "victim/sub/link-to-file");
        fs::create_symlink(dir / "outside", dir / "top-link");
        fs::create_directories(dir / "home/docs");
        writeFile(dir / "home/docs/keep", "sentinel");
    }
    SweeperRun sweeper(const std::string& arguments, const std::string& input = "") {
        std::string redirect = input.empty() ? " </dev/null" : " <" + shellQuoted(dir / "input");
        if (!input.empty()) writeFile(dir / "input", input);
        auto run = testing_support::runSweeper("--home " + shellQuoted(dir / "home") + " " + arguments + redirect,
                                               dir.str());
        fs::remove(dir / "input");
        return run;
    }
    SweeperRun deleteJson(const std::vector<std::string>& paths, const std::string& flags = "--yes") {
        std::string arguments = "--json delete " + flags + " --";
        for (const auto& path : paths) arguments += " " + shellQuoted(path);
        return sweeper(arguments);
    }
    TempDir dir;
};

TEST_F(DeleteCommandTest, DeletesTheGivenPathsAndNothingElse) {
    auto before = snapshot(dir.path());
    auto out = parsedOutput(deleteJson({dir / "victim", dir / "missing", dir / "top-link", dir / "missing"}));
    // Last to first; a path given twice is listed once; a missing path counts.
    EXPECT_EQ(out, json::parse(R"({"deleted": [")" + dir / "top-link" + R"(", ")" + dir / "missing" +
                                                R"(", ")" + dir / "victim" +
                                                R"("], "failed": [], "scriptsRun": 0, "helperActionError": false})"));
    EXPECT_EQ(snapshot(dir.path()), without(before, {"victim", "top-link"}));
}

TEST_F(DeleteCommandTest, AFailureIsListedWithItsErrnoAndTheStatusIsOne) {
    auto before = snapshot(dir.path());
    auto run = deleteJson({dir / "beside.txt/below", dir / "victim/a.txt"});
    EXPECT_EQ(run.status, 1) << run.err;
    auto out = json::parse(run.out);
    EXPECT_EQ(out.at("deleted"), json::array({dir / "victim/a.txt"}));
    EXPECT_EQ(out.at("failed"), json::parse(R"([{"path": ")" + dir / "beside.txt/below" + R"(", "error": )" +
                                            std::to_string(ENOTDIR) + "}]"));
    EXPECT_EQ(snapshot(dir.path()), without(before, {"victim/a.txt"}));

    auto text = sweeper("delete --yes " + shellQuoted(dir / "beside.txt/below"));
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.out, "failed\t" + dir / "beside.txt/below" + "\tNot a directory\n");
}

TEST_F(DeleteCommandTest, TheHomeAndWhatHoldsItAreRefusedHoweverSpelled) {
    fs::create_directories(dir / "aside");
    fs::create_symlink(dir / "home", dir / "home-link");
    auto before = snapshot(dir.path());
    const std::string home = dir / "home";
    // With and without --yes: the answer is never asked for.
    for (const std::string& flags : std::vector<std::string>{"--yes", ""}) {
        for (const std::string& spelling : std::vector<std::string>{home, home + "/", home + "/.", home + "//./", dir / "aside/../home", "home",
                                           "./home/", dir / "home-link/", dir.str(), dir / "home/docs/.."}) {
            auto run = sweeper("delete " + flags + " -- " + shellQuoted(dir / "beside.txt") + " " + shellQuoted(spelling));
            EXPECT_EQ(run.status, 2) << spelling << ": " << run.err;
            EXPECT_NE(run.err.find("refusing to delete " + spelling + ": "), std::string::npos) << run.err;
            EXPECT_EQ(run.out, "");
        }
    }
    EXPECT_EQ(snapshot(dir.path()), before);
    // Whatever a wrong answer of the check would do, the closed input
    // declines it: status 1, not 2.
    for (const std::string& spelling : std::vector<std::string>{"/", "//", "/.", "/./", "/tmp/.."}) {
        auto run = sweeper("delete -- " + shellQuoted(spelling));
        EXPECT_EQ(run.status, 2) << spelling << ": " << run.err;
        EXPECT_NE(run.err.find("it is the root folder"), std::string::npos) << run.err;
    }
    // A link to the home is a link: it goes, the home stays.
    auto link = deleteJson({dir / "home-link"});
    EXPECT_EQ(link.status, 0) << link.err;
    EXPECT_EQ(snapshot(dir.path()), without(before, {"home-link"}));
}

TEST_F(DeleteCommandTest, NothingIsDeletedWithoutAYes) {
    auto before = snapshot(dir.path());
    for (const std::string& answer : std::vector<std::string>{"", "\n", "no\n", "yess\n"}) {
        auto run = sweeper("delete " + shellQuoted(dir / "beside.txt"), answer);
        EXPECT_EQ(run.status, 1) << answer;
        EXPECT_NE(run.err.find("Go ahead? [y/N]"), std::string::npos) << run.err;
        EXPECT_NE(run.err.find("nothing was deleted"), std::string::npos) << run.err;
    }
    EXPECT_EQ(snapshot(dir.path()), before);
    auto yes = sweeper("delete " + shellQuoted(dir / "beside.txt"), " Yes\n");
    EXPECT_EQ(yes.status, 0) << yes.err;
    EXPECT_EQ(yes.out, "deleted\t" + dir / "beside.txt" + "\n");
    EXPECT_EQ(snapshot(dir.path()), without(before, {"beside.txt"}));
}

TEST_F(DeleteCommandTest, ALinkWithASlashIsNeverFollowed) {
    auto before = snapshot(dir.path());
    // "top-link/" names the folder behind the link; the run doesn't go there.
    auto run = deleteJson({dir / "top-link/", dir / "victim/", dir / "victim/sub/."});
    EXPECT_EQ(run.status, 1) << run.err;
    auto out = json::parse(run.out);
    EXPECT_EQ(out.at("failed"),
              json::parse(R"([{"path": ")" + dir / "top-link/" + R"(", "error": )" + std::to_string(ELOOP) + "}]"));
    // The folder itself, given with trailing parts, goes whole.
    EXPECT_EQ(out.at("deleted"), json::array({dir / "victim/sub/.", dir / "victim/"}));
    EXPECT_EQ(snapshot(dir.path()), without(before, {"victim"}));
}

TEST_F(DeleteCommandTest, TrashGoesToTheTrashOfTheGivenHome) {
    writeFile(dir / "docs/report 1%.txt", "one");
    writeFile(dir / "home/.local/share/Trash/files/report 1%.txt", "already there");
    fs::create_directories(dir / "elsewhere");
    auto before = snapshot(dir.path());
    // Neither the environment's home nor its data folder is used.
    ::setenv("XDG_DATA_HOME", (dir / "elsewhere").c_str(), 1);
    std::string savedHome = std::getenv("HOME") ? std::getenv("HOME") : "";
    ::setenv("HOME", (dir / "elsewhere").c_str(), 1);
    auto run = deleteJson({dir / "missing", dir / "docs/report 1%.txt", dir / "victim"}, "--yes --trash");
    ::unsetenv("XDG_DATA_HOME");
    ::setenv("HOME", savedHome.c_str(), 1);
    EXPECT_EQ(run.status, 1) << run.err;
    auto out = json::parse(run.out);
    EXPECT_EQ(out.at("deleted"), json::array({dir / "victim", dir / "docs/report 1%.txt"}));
    EXPECT_EQ(out.at("failed"),
              json::parse(R"([{"path": ")" + dir / "missing" + R"(", "error": )" + std::to_string(ENOENT) + "}]"));

    // Names and info files are the file deleter's; the home is the one given.
    fs::path trash = dir.path() / "home/.local/share/Trash";
    EXPECT_EQ(readFile(trash / "files/report 1%.txt 2"), "one");
    EXPECT_EQ(readFile(trash / "files/victim/sub/b.txt"), "b");
    EXPECT_TRUE(fs::is_empty(dir / "elsewhere"));
    // Outside the trash, only the moved paths changed.
    EXPECT_EQ(without(snapshot(dir.path()), {"home/.local/share/Trash"}),
              without(before, {"victim", "docs/report 1%.txt", "home/.local/share/Trash"}));
}

// How a folder is shredded is tested with the file deleter; here, the paths
// given at the top: a file is overwritten, a FIFO is not opened (no hang).
TEST_F(DeleteCommandTest, ShreddingOverwritesAGivenFileAndOpensNoFifo) {
    std::string secret(20000, 's');
    writeFile(dir / "single", secret);
    ASSERT_EQ(::mkfifo((dir / "top-fifo").c_str(), 0600), 0);
    int singleFd = ::open((dir / "single").c_str(), O_RDONLY);  // shows the data once the name is gone
    ASSERT_GE(singleFd, 0);
    auto before = snapshot(dir.path());
    auto out = parsedOutput(deleteJson({dir / "top-fifo", dir / "single", dir / "top-link"}, "--yes --shred"));
    EXPECT_EQ(out.at("deleted").size(), 3u);
    std::string data(secret.size(), '\0');
    EXPECT_EQ(::pread(singleFd, data.data(), data.size(), 0), ssize_t(secret.size()));
    ::close(singleFd);
    EXPECT_NE(data, secret);
    EXPECT_EQ(snapshot(dir.path()), without(before, {"top-fifo", "single", "top-link"}));
}

TEST_F(DeleteCommandTest, OnAReadOnlyFileSystemEachPathFailsWithItsErrno) {
    if (::geteuid() != 0 || std::system("unshare -m true >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "needs a mount namespace of its own";
    auto before = snapshot(dir.path());
    // The tree is mounted read-only in a mount namespace of the command's own.
    std::string launcher = "unshare -m sh -c " +
                           shellQuoted("mount --bind " + shellQuoted(dir.str()) + " " + shellQuoted(dir.str()) +
                                  " && mount -o remount,bind,ro " + shellQuoted(dir.str()) + " && exec \"$0\" \"$@\"");
    std::string arguments = "--home " + shellQuoted(dir / "home") + " --json delete --yes -- " + shellQuoted(dir / "victim") +
                            " " + shellQuoted(dir / "beside.txt") + " " + shellQuoted(dir / "missing");
    auto run = testing_support::runSweeper(arguments + " </dev/null", "", launcher);
    EXPECT_EQ(run.status, 1) << run.err;
    auto out = json::parse(run.out);
    EXPECT_EQ(out.at("deleted"), json::array({dir / "missing"}));
    EXPECT_EQ(out.at("failed"), json::parse(R"([{"path": ")" + dir / "beside.txt" + R"(", "error": )" +
                                            std::to_string(EROFS) + R"(}, {"path": ")" + dir / "victim" +
                                            R"(", "error": )" + std::to_string(EROFS) + "}]"));
    EXPECT_EQ(snapshot(dir.path()), before);
}

// The tool outlives the command that started it: end it by the number it
// wrote, and wait until it is gone.
void endTool(const std::string& pidPath) {
    std::ifstream in(pidPath);
    pid_t pid = 0;
    if (!(in >> pid) || pid <= 1) return;
    int fd = int(::syscall(SYS_pidfd_open, pid, 0));
    if (fd < 0) return;
    ::kill(pid, SIGTERM);
    pollfd ended{fd, POLLIN, 0};
    EXPECT_EQ(::poll(&ended, 1, 20000), 1) << "the helper tool did not end";
    ::close(fd);
}

TEST_F(DeleteCommandTest, TheHelperToolRunsNoScriptOutsideItsDocument) {
    std::string tool = std::string(CORE_BINARY_DIR) + "/tools/core-helper";
    if (::access(tool.c_str(), X_OK) != 0) GTEST_SKIP() << "core-helper isn't built in this configuration";
    std::string root = dir / "root";
    auto before = snapshot(dir.path());
    // The helper is installed under the root and started by the run; the
    // script is no text of the shipped document, so it is refused unrun.
    auto run = sweeper("--root " + shellQuoted(root) + " --json delete --yes --script " +
                       shellQuoted("echo ran > " + shellQuoted(dir / "marker")) + " -- " + shellQuoted(dir / "beside.txt"));
    endTool(root + "/var/run/com.oxmerl.MerlSweeper.PrivilegedHelperTool.socket.pid");
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_EQ(json::parse(run.out), json::parse(R"({"deleted": [")" + dir / "beside.txt" +
                                                R"("], "failed": [], "scriptsRun": 0, "helperActionError": false})"));
    EXPECT_FALSE(fs::exists(dir / "marker"));
    EXPECT_EQ(without(snapshot(dir.path()), {"root"}), without(before, {"beside.txt"}));
}

TEST_F(DeleteCommandTest, UsageErrors) {
    EXPECT_EQ(sweeper("delete --yes").status, 2);
    EXPECT_EQ(sweeper("delete --yes --trash --shred " + shellQuoted(dir / "beside.txt")).status, 2);
    EXPECT_TRUE(fs::exists(dir / "beside.txt"));
}

}  // namespace
