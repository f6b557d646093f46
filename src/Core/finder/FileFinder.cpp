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
        step(d, c, f.matcher, Leaf{f.priority}, report);
    }

    void directoryStep(DirectoryInfo& d, const OptionalID& c, const DirectoryMatcher& m) {
        step(d, c, m.matcher, Folder{}, [&](const OptionalID& id, const std::shared_ptr<DirectoryInfo>& info) {
            next.add(info, FileContext{id, &m.children});
        });
    }

private:
    // What a leaf step and a folder step differ in: the kind of node they
    // take and make, where their stored results are, and, for leaves, the
    // priority a name is claimed with.
    struct Leaf {
        using Info = FileInfo;
        using Matched = MatchedFiles;
        int64_t priority;

        // The node's file when this step may take it: a file of its priority.
        std::shared_ptr<FileInfo> usable(const FileNode& node) const {
            return node.isFile() && node.fileInfo()->priority == priority ? node.fileInfo() : nullptr;
        }
        std::shared_ptr<FileInfo> make(const DirectoryInfo& d, const std::string& name) const {
            return std::make_shared<FileInfo>(d.url.appending(name), priority);
        }
        static FileNode node(std::shared_ptr<FileInfo> info) { return FileNode::file(std::move(info)); }
        // A stored result of a higher priority claimed its names.
        bool replays(const MatchedFiles& stored) const { return priority >= stored.priority; }
        MatchedFiles emptyResult() const { return {priority, {}}; }
        static auto& found(MatchedFiles& result) { return result.files; }
        static const auto& found(const MatchedFiles& result) { return result.files; }
    };

    struct Folder {
        using Info = DirectoryInfo;
        using Matched = MatchedDirectories;

        std::shared_ptr<DirectoryInfo> usable(const FileNode& node) const {
            return node.isDirectory() ? node.directoryInfo() : nullptr;
        }
        std::shared_ptr<DirectoryInfo> make(const DirectoryInfo& d, const std::string& name) const {
            return std::make_shared<DirectoryInfo>(d.url.appending(name, true));
        }
        static FileNode node(std::shared_ptr<DirectoryInfo> info) { return FileNode::directory(std::move(info)); }
        bool replays(const MatchedDirectories&) const { return true; }
        MatchedDirectories emptyResult() const { return {}; }
        static auto& found(MatchedDirectories& result) { return result.directories; }
        static const auto& found(const MatchedDirectories& result) { return result.directories; }
    };

    // One matcher of a step in `d`: an exact name is looked up, asking the
    // disk at most once; a pattern replays what an earlier walk stored for
    // it, or lists `d` once and stores what matched. `act` gets the
    // effective id and each node taken.
    template <class Kind, class Act>
    void step(DirectoryInfo& d, const OptionalID& c, const Matcher& matcher, const Kind& kind, Act&& act) {
        if (matcher.matcherCase() == Matcher::Case::string) {
            auto it = lookUp(d, matcher.name().origin());
            if (it == d.children.end()) return;
            FileNode& node = it->second;
            if (node.nodeCase() == FileNode::Case::unknown) {
                // The name as the directory spells it, when it was listed.
                auto info = kind.make(d, it->first);
                node = Kind::node(info);
                act(c, info);
            } else if (auto info = kind.usable(node)) {
                act(c, info);
            }
            return;
        }

        if (auto it = d.matched.find(matcher); it != d.matched.end()) {
            const auto* stored = std::get_if<typename Kind::Matched>(&it->second);
            if (stored == nullptr || !kind.replays(*stored)) return;
            for (const auto& [key, infos] : Kind::found(*stored))
                for (const auto& info : infos) act(key, info);
            return;
        }
        typename Kind::Matched result = kind.emptyResult();
        bool listed = forEachEntry(d, [&](const std::string& name, FileNode* entry) {
            // Names known as another kind, or missing, are not this step's.
            if (entry != nullptr && entry->nodeCase() != FileNode::Case::unknown && !kind.usable(*entry)) return;
            auto match = matcher.match(name);
            if (!match.matched) {
                if (entry == nullptr) d.children.emplace(name, FileNode::unknown());
                return;
            }
            std::shared_ptr<typename Kind::Info> info = entry != nullptr ? kind.usable(*entry) : nullptr;
            if (!info) {
                info = kind.make(d, name);
                d.children.insert_or_assign(name, Kind::node(info));
            }
            OptionalID captured = CaseInsensitiveString::from(match.id);
            act(captured ? captured : c, info);
            Kind::found(result)[captured].push_back(std::move(info));
        });
        if (listed) d.matched.insert_or_assign(matcher, std::move(result));
    }

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
