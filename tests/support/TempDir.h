#pragma once
// Test helpers: a temporary folder removed at the end of the test, small
// file writers, and a scope that re-roots the process-wide Layout and
// ResourceBundle to a tree of the test's own and restores them on exit.

#include "platform/Layout.h"
#include "platform/ResourceBundle.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace testing_support {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return _path; }
    std::string str() const { return _path.string(); }
    // `relative` below the folder, as a string.
    std::string operator/(std::string_view relative) const { return (_path / relative).string(); }

private:
    std::filesystem::path _path;
};

// Writes `content` to `path`, creating parent folders.
void writeFile(const std::filesystem::path& path, std::string_view content);
// Writes a file of `size` bytes filled with `fill`.
void writeFileOfSize(const std::filesystem::path& path, size_t size, char fill = 'x');
std::string readFile(const std::filesystem::path& path);
// The bytes the file system allocated to `path` itself (a link is not
// followed); -1 when it cannot be looked at.
int64_t allocated(const std::filesystem::path& path);

// Re-roots platform::Layout::shared() (and optionally the resources folder)
// for the life of the scope.
class ScopedLayout {
public:
    ScopedLayout(const std::string& root, const std::string& home);
    ~ScopedLayout();
    ScopedLayout(const ScopedLayout&) = delete;
    ScopedLayout& operator=(const ScopedLayout&) = delete;

    void setResources(const std::string& folder);
    void setTemporaryDirectory(const std::string& folder);

private:
    std::string _root, _home, _library, _tmp, _resources;
};

}  // namespace testing_support
