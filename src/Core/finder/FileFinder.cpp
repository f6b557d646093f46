#include "Core/finder/FileFinder.h"

#include "Core/files/FileError.h"
#include "Core/files/FileManager.h"
#include "Core/foundation/FileFinderContext.h"
#include "Core/rules/DirectoryMatcher.h"

namespace Core {
namespace {

using OptionalID = std::optional<CaseInsensitiveString>;

// The directories of one level of the walk with their work, in the order
// they were reached.
class Frontier {
public:
    void add(const std::shared_ptr<DirectoryInfo>& directory, FileContext context) {
        auto [it, inserted] = _index.try_emplace(directory.get(), _entries.size());
        if (inserted) _entries.emplace_back(directory, std::vector<FileContext>{});
        _entries[it->second].second.push_back(std::move(context));
    }
    bool empty() const { return _entries.empty(); }
    std::vector<std::pair<std::shared_ptr<DirectoryInfo>, std::vector<FileContext>>>& entries() { return _entries; }

private:
    std::vector<std::pair<std::shared_ptr<DirectoryInfo>, std::vector<FileContext>>> _entries;
    std::unordered_map<const DirectoryInfo*, size_t> _index;
};

bool anyWanted(const std::vector<FileContext>& contexts, const FileFinder::IsWanted& isWanted) {
    for (const auto& context : contexts)
        for (const auto& node : *context.rules)
            if (isWanted(node.id())) return true;
    return false;
}

}  // namespace

class FileFinder::Walk {
public:
    Walk(const FileSystem& fileSystem, const IsWanted& isWanted, const Found& found)
        : _fs(fileSystem), _isWanted(isWanted), _found(found) {}

    Frontier next;

    void leafStep(DirectoryInfo& d, const OptionalID& c, const FileMatcher& f) {
        auto report = [&](const OptionalID& id, const std::shared_ptr<FileInfo>& info) {
            if (!_isWanted(f.id)) return;
            if (!id && f.ruleID.ruleCase() == RuleID::Case::bundleID) {
                _found(OptionalID(f.ruleID.identifier()), info, f.kind, f.ruleID);
            } else {
                _found(id, info, f.kind, f.ruleID);
            }
        };

        if (f.matcher.matcherCase() != Matcher::Case::string) {
            if (auto it = d.matched.find(f.matcher); it != d.matched.end()) {
                const auto* stored = std::get_if<MatchedFiles>(&it->second);
                if (stored == nullptr || f.priority < stored->priority) return;
                for (const auto& [key, infos] : stored->files)
                    for (const auto& info : infos) report(key, info);
                return;
            }
            MatchedFiles result{f.priority, {}};
            bool listed = forEachEntry(d, [&](const std::string& name, FileNode* entry) {
                if (entry != nullptr && (entry->isDirectory() || entry->nodeCase() == FileNode::Case::notExists))
                    return;
                if (entry != nullptr && entry->isFile() && entry->fileInfo()->priority != f.priority) return;
                auto match = f.matcher.match(name);
                if (!match.matched) {
                    if (entry == nullptr) d.children.emplace(name, FileNode::unknown());
                    return;
                }
                std::shared_ptr<FileInfo> info = entry != nullptr && entry->isFile() ? entry->fileInfo() : nullptr;
                if (!info) {
                    info = std::make_shared<FileInfo>(d.url.appending(name), f.priority);
                    d.children.insert_or_assign(name, FileNode::file(info));
                }
                OptionalID captured = CaseInsensitiveString::from(match.id);
                report(captured ? captured : c, info);
                result.files[captured].push_back(std::move(info));
            });
            if (listed) d.matched.insert_or_assign(f.matcher, std::move(result));
            return;
        }

        auto it = lookUp(d, f.matcher.name().origin());
        if (it == d.children.end()) return;
        FileNode& node = it->second;
        switch (node.nodeCase()) {
            case FileNode::Case::file:
                if (node.fileInfo()->priority == f.priority) report(c, node.fileInfo());
                return;
            case FileNode::Case::directory:
            case FileNode::Case::notExists: return;
            case FileNode::Case::unknown: {
                // The name as the directory spells it, when it was listed.
                auto info = std::make_shared<FileInfo>(d.url.appending(it->first), f.priority);
                node = FileNode::file(info);
                report(c, info);
                return;
            }
        }
    }

    void directoryStep(DirectoryInfo& d, const OptionalID& c, const DirectoryMatcher& m) {
        auto descend = [&](const OptionalID& id, const std::shared_ptr<DirectoryInfo>& info) {
            next.add(info, FileContext{id, &m.children});
        };

        if (m.matcher.matcherCase() != Matcher::Case::string) {
            if (auto it = d.matched.find(m.matcher); it != d.matched.end()) {
                const auto* stored = std::get_if<MatchedDirectories>(&it->second);
                if (stored == nullptr) return;
                for (const auto& [key, infos] : stored->directories)
                    for (const auto& info : infos) descend(key, info);
                return;
            }
            MatchedDirectories result;
            bool listed = forEachEntry(d, [&](const std::string& name, FileNode* entry) {
                if (entry != nullptr && (entry->isFile() || entry->nodeCase() == FileNode::Case::notExists)) return;
                auto match = m.matcher.match(name);
                if (!match.matched) {
                    if (entry == nullptr) d.children.emplace(name, FileNode::unknown());
                    return;
                }
                std::shared_ptr<DirectoryInfo> info =
                    entry != nullptr && entry->isDirectory() ? entry->directoryInfo() : nullptr;
                if (!info) {
                    info = std::make_shared<DirectoryInfo>(d.url.appending(name, true));
                    d.children.insert_or_assign(name, FileNode::directory(info));
                }
                OptionalID captured = CaseInsensitiveString::from(match.id);
                descend(captured ? captured : c, info);
                result.directories[captured].push_back(std::move(info));
            });
            if (listed) d.matched.insert_or_assign(m.matcher, std::move(result));
            return;
        }

        auto it = lookUp(d, m.matcher.name().origin());
        if (it == d.children.end()) return;
        FileNode& node = it->second;
        switch (node.nodeCase()) {
            case FileNode::Case::directory: descend(c, node.directoryInfo()); return;
            case FileNode::Case::file:
            case FileNode::Case::notExists: return;
            case FileNode::Case::unknown: {
                auto info = std::make_shared<DirectoryInfo>(d.url.appending(it->first, true));
                node = FileNode::directory(info);
                descend(c, info);
                return;
            }
        }
    }

private:
    using Children = std::unordered_map<std::string, FileNode>;

    // The entry of an exact name, asking the disk at most once per name:
    // end() when a scanned directory lacks it; a missing name is stored as
    // `notExists`, an existing one as `unknown`.
    Children::iterator lookUp(DirectoryInfo& d, const std::string& name) {
        auto it = d.children.find(name);
        if (it != d.children.end() || d.scanned) return it;
        bool exists = _fs.fileExists(d.url.appending(name).path());
        return d.children.emplace(name, exists ? FileNode::unknown() : FileNode::notExists()).first;
    }

    // Visits every name of `d` with its node (null for a name listed now
    // and not known before): the known names of a scanned directory, or a
    // fresh listing, which marks it scanned. False when it can't be listed.
    template <class Visit>
    bool forEachEntry(DirectoryInfo& d, Visit&& visit) {
        if (d.scanned) {
            for (auto& [name, node] : d.children) visit(name, &node);
            return true;
        }
        std::vector<URLResource> listing;
        try {
            listing = _fs.contents(d.url, {ResourceKey::name});
        } catch (const FileError&) {
            return false;
        }
        d.scanned = true;
        for (auto& entry : listing) {
            if (!entry.resourceValues.name) continue;
            std::string name(std::move(*entry.resourceValues.name));
            auto it = d.children.find(name);
            visit(name, it == d.children.end() ? nullptr : &it->second);
        }
        return true;
    }

    const FileSystem& _fs;
    const IsWanted& _isWanted;
    const Found& _found;
};

FileFinder::FileFinder(const AppFileRule& appFileRule, std::shared_ptr<const FileSystem> fileSystem)
    : _appFileRule(appFileRule), _fileSystem(fileSystem ? std::move(fileSystem) : FileSystem::real()) {}

void FileFinder::find(const IsWanted& isWanted, const Found& found) {
    Frontier frontier;
    for (const auto& [root, nodes] : _appFileRule.rules()) {
        auto& directory = _cache[root];
        if (!directory) directory = std::make_shared<DirectoryInfo>(root);
        frontier.add(directory, FileContext{std::nullopt, &nodes});
    }
    auto running = FileFinderContext::current();
    Walk walk(*_fileSystem, isWanted, found);
    while (!frontier.empty()) {
        walk.next = Frontier();
        for (auto& [directory, contexts] : frontier.entries()) {
            if (!anyWanted(contexts, isWanted)) continue;
            // Every node runs, wanted or not: an unwanted leaf still claims
            // its names away from the lower rules.
            for (const auto& context : contexts) {
                for (const auto& node : *context.rules) {
                    if (running && running->interrupted()) return;
                    if (node.isFile()) {
                        walk.leafStep(*directory, context.id, node.file());
                    } else {
                        walk.directoryStep(*directory, context.id, *node.directory());
                    }
                }
            }
        }
        frontier = std::move(walk.next);
    }
}

void FileFinder::clearCache() { _cache.clear(); }

std::vector<AppFile> FileFinder::makeAppFiles(const std::vector<AppFileInfo>& files) {
    std::vector<AppFile> out;
    out.reserve(files.size());
    for (const auto& item : files) {
        FileInfo& info = *item.file;
        int64_t size = 0;
        {
            platform::dispatch::SemaphoreGuard guard(info.semaphore);
            if (!info.size) info.size = FileManager::size(info.url);
            size = *info.size;
        }
        out.emplace_back(info.url, size, item.kind, item.owner);
    }
    return out;
}

}  // namespace Core
