#include "Core/junk/internal/Exclusions.h"

#include "Core/files/FileManager.h"

#include <sys/stat.h>

#include <string>

namespace Core::internal {

namespace {

// A path below `base`, on a component boundary.
bool isBelow(const std::string& path, const std::string& base) {
    if (base == "/") return path.size() > 1 && path.front() == '/';
    return path.size() > base.size() && path.compare(0, base.size(), base) == 0 && path[base.size()] == '/';
}

bool existsWithoutFollowing(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

bool holdsExclusion(const platform::URL& url, const std::vector<platform::URL>& excluded) {
    for (const auto& x : excluded)
        if (isBelow(x.path(), url.path()) && existsWithoutFollowing(x.path())) return true;
    return false;
}

void split(const platform::URL& url, const std::vector<platform::URL>& excluded, std::vector<platform::URL>& out) {
    if (!holdsExclusion(url, excluded)) {
        out.push_back(url);
        return;
    }
    const auto entries = FileManager::contentsOrEmpty(url, {});
    for (const auto& entry : entries)
        if (!isExcluded(entry.url, excluded)) split(entry.url, excluded, out);
}

}  // namespace

bool isExcluded(const platform::URL& url, const std::vector<platform::URL>& excluded) {
    for (const auto& x : excluded)
        if (url == x || isBelow(url.path(), x.path())) return true;
    return false;
}

std::vector<platform::URL> splitAroundExclusions(const platform::URL& url, const std::vector<platform::URL>& excluded) {
    std::vector<platform::URL> out;
    split(url, excluded, out);
    return out;
}

std::vector<File> sizedPiecesAroundExclusions(const platform::URL& url, const std::vector<platform::URL>& excluded) {
    std::vector<File> out;
    for (auto& piece : splitAroundExclusions(url, excluded)) {
        int64_t size = FileManager::size(piece);
        out.emplace_back(std::move(piece), size);
    }
    return out;
}

}  // namespace Core::internal
