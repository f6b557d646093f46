#pragma once
// Shared pieces of the deletion tests: a tree with sentinels planted beside
// the deleted paths and behind links out of them, the built stand-in
// remover, and a delegate of OMFileDeleter that records what it hears.

#include "Core/deletion/OMFileDeleterDelegate.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace deletion_testing {

// A folder "victim" with files, a subfolder and links that point out of it
// (to "outside/" and "outside/file"), and sentinels beside it.
struct SentinelTree {
    explicit SentinelTree(const std::filesystem::path& base);
    // The sentinels are all there with their content.
    ::testing::AssertionResult intact() const;

    std::filesystem::path base, victim, outside;
    std::vector<std::filesystem::path> sentinels;
};

// Points the file tools at the built core-rm; false when it isn't built.
bool useBuiltRemover();

// Records an OMFileDeleter's calls; waits for the completion.
class RecordingFileDelegate final : public Core::OMFileDeleterDelegate {
public:
    void fileDeleterCurrent(const std::string& path) override;
    void fileDeleterDeleted(const std::string& path, int error) override;
    void scriptDeleted() override;
    void fileDeleterCompleted() override;

    // Called (on the deleter's queue) with each current path.
    std::function<void(const std::string&)> onCurrent;

    std::vector<std::string> calls();
    std::vector<std::string> currents();
    int completions();
    bool awaitCompleted();

private:
    void add(std::string call);
    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<std::string> _calls;
    std::vector<std::string> _currents;
    int _completions = 0;
};

}  // namespace deletion_testing
