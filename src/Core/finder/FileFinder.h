#pragma once
// FileFinder: walks the disk along the forest of an AppFileRule and reports
// every name that a wanted leaf hits. Everything it learns of a directory
// stays in its cache of nodes, so a scan that asks the same forest once per
// application pays for each directory once: a name matched by an exact
// string is looked up at most once, a directory that a pattern needs is
// listed at most once, and a repeat walk is table lookups only. The cache
// also keeps the claims: the first (highest-priority) leaf to reach a name
// owns it for every later walk, wanted or not.
//
// Threading: one walk at a time. find() runs on the caller's thread, with
// the running FileFinderContext (if any) found through its specific key;
// the cache has no lock. makeAppFiles() may run on several threads at once,
// also while a walk runs: it touches only FileInfo sizes, under each file's
// semaphore.
//
//   Core::FileFinder finder(Core::AppFileRule::junk());
//   auto wanted = Core::AppFileRule::junk().matcherIDs("com.example.Notes");
//   std::vector<Core::AppFileInfo> hits;
//   finder.find([&](Core::MatcherID id) { return wanted.contains(id); },
//               [&](const auto& id, const auto& info, const auto& kind, const auto& rule) {
//                   hits.push_back({info, kind, Core::App::app(id.value_or(""))});
//               });
//   auto files = finder.makeAppFiles(hits);

#include "Core/files/FileSystem.h"
#include "Core/finder/AppFileInfo.h"
#include "Core/finder/DirectoryInfo.h"
#include "Core/finder/FileContext.h"
#include "Core/finder/FileInfo.h"
#include "Core/foundation/AppFile.h"
#include "Core/rules/AppFileRule.h"

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Core {

class FileFinder {
public:
    using IsWanted = std::function<bool(MatcherID id)>;
    // The effective id (what a matcher captured on the way down, else the
    // rule's bundle identifier, else nothing), the hit, its kind and rule.
    using Found = std::function<void(const std::optional<CaseInsensitiveString>& id,
                                     const std::shared_ptr<FileInfo>& info, const AppFileKind& kind,
                                     const RuleID& ruleID)>;

    // `appFileRule` must outlive the finder (the shared instances do).
    explicit FileFinder(const AppFileRule& appFileRule,
                        std::shared_ptr<const FileSystem> fileSystem = FileSystem::real());

    // One walk over the forest; calls `found` once per hit of a leaf whose
    // id `isWanted` accepts. Directories that no wanted node needs aren't
    // visited. Returns early, between two nodes, when the running context
    // is interrupted. Unreadable directories count as empty; nothing throws
    // from the disk.
    void find(const IsWanted& isWanted, const Found& found);

    // Forgets everything the walks have learnt.
    void clearCache();

    // AppFile records in list order, each with its file's size, measured
    // once per FileInfo however many records share it: a regular file's
    // size, a directory's total, 0 for what can't be read.
    static std::vector<AppFile> makeAppFiles(const std::vector<AppFileInfo>& files);

    const AppFileRule& appFileRule() const { return _appFileRule; }

private:
    class Walk;

    const AppFileRule& _appFileRule;
    std::shared_ptr<const FileSystem> _fileSystem;
    std::unordered_map<platform::URL, std::shared_ptr<DirectoryInfo>> _cache;
};

}  // namespace Core
