#include "Core/rules/AppFileRule.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace Core {

namespace {

// One counter for the whole process: an id names one node in one forest.
MatcherID nextMatcherID() {
    static std::atomic<MatcherID> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

constexpr std::array<RuleCategory, 2> kJunkCategories{RuleCategory::caches, RuleCategory::logs};

size_t countNodes(const std::vector<MatcherNode>& nodes) {
    size_t count = nodes.size();
    for (const auto& node : nodes)
        if (node.isDirectory()) count += countNodes(node.directory()->children);
    return count;
}

// Where the first node of each sort lies in one list of the forest. The
// insertion rules ask for the first node of a list that meets a test; lists
// only grow at the end, so a first position never changes, and these tables
// answer in constant time what a scan from the front would find.
struct ListIndex {
    static constexpr size_t none = SIZE_MAX;
    std::unordered_map<Matcher, size_t> directories;  // a directory node per matcher (never two)
    std::unordered_map<Matcher, size_t> firstLeaf;    // the first leaf per matcher
    size_t firstAnyLeaf = none;
    size_t firstIDLeaf = none;

    void addedDirectory(const Matcher& m, size_t position) { directories.emplace(m, position); }
    void addedLeaf(const Matcher& m, size_t position) {
        firstLeaf.emplace(m, position);
        if (m.matcherCase() == Matcher::Case::any && firstAnyLeaf == none) firstAnyLeaf = position;
        if (m.matcherCase() == Matcher::Case::id && firstIDLeaf == none) firstIDLeaf = position;
    }
    size_t directory(const Matcher& m) const {
        auto found = directories.find(m);
        return found == directories.end() ? none : found->second;
    }
    size_t leaf(const Matcher& m) const {
        auto found = firstLeaf.find(m);
        return found == firstLeaf.end() ? none : found->second;
    }
};

using ListIndexes = std::unordered_map<const std::vector<MatcherNode>*, ListIndex>;

void insertContext(std::map<platform::URL, std::vector<MatcherNode>>& rules, ListIndexes& indexes,
                   const MatcherContext& context) {
    const PathMatcher& p = context.matcher;
    std::vector<MatcherNode>* list = &rules[p.root];

    for (const Matcher& m : p.pathMatchers) {
        ListIndex& index = indexes[list];
        // The first of: a leaf that takes every name, a leaf of this very
        // name (both leave nothing to descend into), or the directory node.
        size_t blocker = std::min({index.firstAnyLeaf, index.firstIDLeaf, index.leaf(m)});
        size_t existing = index.directory(m);
        if (blocker < existing) return;
        DirectoryMatcher* found = nullptr;
        if (existing != ListIndex::none) {
            found = (*list)[existing].directory().get();
        } else {
            auto created = std::make_shared<DirectoryMatcher>(nextMatcherID(), m);
            found = created.get();
            index.addedDirectory(m, list->size());
            list->push_back(MatcherNode::directory(std::move(created)));
        }
        context.idSet->insert(found->id);
        list = &found->children;
    }

    const Matcher& n = p.nameMatcher;
    ListIndex& index = indexes[list];
    // The first of: a directory node of this name (it took the name), a leaf
    // of this name (same priority: add beside it; other: a higher rule
    // claims the names), a leaf that takes every name ahead of it.
    size_t directory = index.directory(n);
    size_t sameLeaf = index.leaf(n);
    size_t anyLeaf = n.matcherCase() == Matcher::Case::any ? ListIndex::none : index.firstAnyLeaf;
    size_t idLeaf = n.matcherCase() == Matcher::Case::id ? ListIndex::none : index.firstIDLeaf;
    size_t first = std::min({directory, sameLeaf, anyLeaf, idLeaf});
    if (first != ListIndex::none) {
        if (first != sameLeaf) return;
        if ((*list)[sameLeaf].file().priority != p.priority) return;
    }
    MatcherID id = nextMatcherID();
    index.addedLeaf(n, list->size());
    list->push_back(MatcherNode::file(FileMatcher{id, n, p.priority, context.kind, context.ruleID}));
    context.idSet->insert(id);
}

}  // namespace

const AppFileRule& AppFileRule::all() {
    static const AppFileRule instance(true);
    return instance;
}

const AppFileRule& AppFileRule::junk() {
    static const AppFileRule instance(false);
    return instance;
}

AppFileRule::AppFileRule(bool includeAll) : AppFileRule(RuleManager::shared(), includeAll) {}

AppFileRule::AppFileRule(const RuleManager& manager, bool includeAll) {
    std::vector<MatcherContext> contexts;
    for (const auto& entry : manager.rules()) {
        // Named references, not structured bindings: a lambda below uses them.
        const auto& ruleID = entry.first;
        const auto& rule = entry.second;
        auto idSet = std::make_shared<MatcherIDSet>();
        switch (ruleID.ruleCase()) {
            case RuleID::Case::bundleID: _matcherIDSet.insert_or_assign(ruleID.identifier(), idSet); break;
            case RuleID::Case::bundleIDRegex: _regexMatcherIDSet.insert_or_assign(ruleID.expression(), idSet); break;
            case RuleID::Case::base: _baseMatcherIDSet = idSet; break;
            case RuleID::Case::black:
            case RuleID::Case::system: break;  // their nodes only claim files; no id asks for them
        }
        auto append = [&](RuleCategory c) {
            const auto& kinds = rule.category(c);
            if (!kinds) return;
            for (const auto& [kind, paths] : *kinds)
                for (const auto& path : paths) contexts.push_back(MatcherContext{path, kind, ruleID, idSet});
        };
        if (includeAll) {
            for (RuleCategory c : kAllRuleCategories) append(c);
        } else {
            for (RuleCategory c : kJunkCategories) append(c);
        }
    }
    // Stable, so that equal contexts keep the order of the rules' map.
    std::stable_sort(contexts.begin(), contexts.end(), MatcherContext::precedes);
    ListIndexes indexes;
    for (const auto& context : contexts) insertContext(_rules, indexes, context);
}

std::unordered_set<MatcherID> AppFileRule::matcherIDs(std::string_view id) const {
    std::unordered_set<MatcherID> ids;
    if (auto found = _matcherIDSet.find(CaseInsensitiveString(id)); found != _matcherIDSet.end())
        ids.insert(found->second->matcherIDs.begin(), found->second->matcherIDs.end());
    for (const auto& [re, set] : _regexMatcherIDSet)
        if (re.matches(id)) ids.insert(set->matcherIDs.begin(), set->matcherIDs.end());
    if (_baseMatcherIDSet) ids.insert(_baseMatcherIDSet->matcherIDs.begin(), _baseMatcherIDSet->matcherIDs.end());
    return ids;
}

size_t AppFileRule::nodeCount() const {
    size_t count = 0;
    for (const auto& [root, nodes] : _rules) count += countNodes(nodes);
    return count;
}

}  // namespace Core
