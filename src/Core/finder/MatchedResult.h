#pragma once
// MatchedResult: the stored outcome of one matcher that needs a listing, in
// one directory: the files a leaf hit (with the leaf's priority), or the
// directories a directory node entered, each under the identifier the
// matcher captured (absent when it captured none). A later walk replays it
// instead of listing again.
//
// Threading: part of a FileFinder cache; see FileFinder.

#include "Core/foundation/CaseInsensitiveString.h"
#include "Core/finder/FileInfo.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

namespace Core {

class DirectoryInfo;

struct MatchedFiles {
    int64_t priority = 0;
    std::map<std::optional<CaseInsensitiveString>, std::vector<std::shared_ptr<FileInfo>>> files;
};

struct MatchedDirectories {
    std::map<std::optional<CaseInsensitiveString>, std::vector<std::shared_ptr<DirectoryInfo>>> directories;
};

using MatchedResult = std::variant<MatchedFiles, MatchedDirectories>;

}  // namespace Core
