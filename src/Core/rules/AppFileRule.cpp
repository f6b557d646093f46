#include "Core/rules/AppFileRule.h"

#include <algorithm>
#include <atomic>

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

bool matchesAnything(const Matcher& m) {
    return m.matcherCase() == Matcher::Case::any || m.matcherCase() == Matcher::Case::id;
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
    for (const auto& [ruleID, rule] : manager.rules()) {
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
    for (const auto& context : contexts) insert(context);
}

void AppFileRule::insert(const MatcherContext& context) {
    const PathMatcher& p = context.matcher;
    std::vector<MatcherNode>* list = &_rules[p.root];

    for (const Matcher& m : p.pathMatchers) {
        DirectoryMatcher* found = nullptr;
        for (const MatcherNode& node : *list) {
            if (node.isFile()) {
                // A leaf that takes every name, or this very name, leaves
                // nothing to descend into.
                if (matchesAnything(node.file().matcher) || node.file().matcher == m) return;
                continue;
            }
            if (node.directory()->matcher == m) {
                found = node.directory().get();
                break;
            }
        }
        if (found == nullptr) {
            auto created = std::make_shared<DirectoryMatcher>(nextMatcherID(), m);
            found = created.get();
            list->push_back(MatcherNode::directory(std::move(created)));
        }
        context.idSet->insert(found->id);
        list = &found->children;
    }

    const Matcher& n = p.nameMatcher;
    for (const MatcherNode& node : *list) {
        if (node.isDirectory()) {
            if (node.directory()->matcher == n) return;  // a directory node took the name
            continue;
        }
        const FileMatcher& leaf = node.file();
        if (leaf.matcher == n) {
            if (leaf.priority != p.priority) return;  // a higher rule claims the same names
            break;                                    // the same claim for another rule: add beside it
        }
        if (matchesAnything(leaf.matcher)) return;  // a leaf that takes every name is ahead
    }
    MatcherID id = nextMatcherID();
    list->push_back(MatcherNode::file(FileMatcher{id, n, p.priority, context.kind, context.ruleID}));
    context.idSet->insert(id);
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
