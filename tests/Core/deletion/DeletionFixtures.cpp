#include "DeletionFixtures.h"

#include "Core/deletion/FileTools.h"
#include "support/Await.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace deletion_testing {

SentinelTree::SentinelTree(const fs::path& root) : base(root), victim(root / "victim"), outside(root / "outside") {
    testing_support::writeFile(victim / "a.txt", "a");
    testing_support::writeFile(victim / "sub/b.txt", "b");
    testing_support::writeFile(victim / "sub/deeper/c.txt", "c");
    for (const auto& name : {"outside/file", "outside/inner/kept", "beside.txt", "victim-sibling/kept"}) {
        testing_support::writeFile(root / name, std::string("sentinel ") + name);
        sentinels.push_back(root / name);
    }
    fs::create_symlink(outside, victim / "link-to-folder");
    fs::create_symlink(outside / "file", victim / "sub/link-to-file");
    fs::create_symlink(outside, victim / "sub/deeper/link-to-folder");
}

::testing::AssertionResult SentinelTree::intact() const {
    for (const auto& sentinel : sentinels) {
        std::string expected = "sentinel " + fs::relative(sentinel, base).string();
        std::error_code ec;
        if (!fs::exists(sentinel, ec)) return ::testing::AssertionFailure() << sentinel << " is gone";
        if (testing_support::readFile(sentinel) != expected)
            return ::testing::AssertionFailure() << sentinel << " was changed";
    }
    return ::testing::AssertionSuccess();
}

bool useBuiltRemover() {
    std::string tools = std::string(CORE_BINARY_DIR) + "/tools";
    if (::access((tools + "/core-rm").c_str(), X_OK) != 0) return false;
    Core::setFileToolDirectory(tools);
    return true;
}

void RecordingFileDelegate::add(std::string call) {
    {
        std::lock_guard lock(_mutex);
        _calls.push_back(std::move(call));
    }
    _changed.notify_all();
}

void RecordingFileDelegate::fileDeleterCurrent(const std::string& path) {
    {
        std::lock_guard lock(_mutex);
        _currents.push_back(path);
    }
    if (onCurrent) onCurrent(path);
}

void RecordingFileDelegate::fileDeleterDeleted(const std::string& path, int error) {
    add(fs::path(path).filename().string() + " " + std::to_string(error));
}

void RecordingFileDelegate::scriptDeleted() { add("script"); }

void RecordingFileDelegate::fileDeleterCompleted() {
    {
        // One critical section: a waiter woken by an earlier call must not
        // see the count before the call list holds "completed".
        std::lock_guard lock(_mutex);
        ++_completions;
        _calls.emplace_back("completed");
    }
    _changed.notify_all();
}

std::vector<std::string> RecordingFileDelegate::calls() {
    std::lock_guard lock(_mutex);
    return _calls;
}

std::vector<std::string> RecordingFileDelegate::currents() {
    std::lock_guard lock(_mutex);
    return _currents;
}

int RecordingFileDelegate::completions() {
    std::lock_guard lock(_mutex);
    return _completions;
}

bool RecordingFileDelegate::awaitCompleted() {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, testing_support::kPatience, [&] { return _completions > 0; });
}

}  // namespace deletion_testing
