#pragma once
// DirectoryInfo: what the walk has learnt of one directory: the names it
// looked up or listed, whether it listed the directory completely
// (`scanned`), and the stored result of each matcher that needed a listing.
// Once `scanned` is set the disk isn't asked about the directory again.
//
// Threading: part of a FileFinder cache; see FileFinder.

#include "Core/finder/FileNode.h"
#include "Core/finder/MatchedResult.h"
#include "Core/rules/Matcher.h"
#include "platform/URL.h"

#include <string>
#include <unordered_map>

namespace Core {

class DirectoryInfo {
public:
    explicit DirectoryInfo(platform::URL url) : url(std::move(url)) {}
    DirectoryInfo(const DirectoryInfo&) = delete;
    DirectoryInfo& operator=(const DirectoryInfo&) = delete;

    const platform::URL url;
    bool scanned = false;
    // Keyed by the name as the disk spells it: on a case-sensitive file
    // system "Cache" and "cache" are two entries.
    std::unordered_map<std::string, FileNode> children;
    std::unordered_map<Matcher, MatchedResult> matched;
};

}  // namespace Core
