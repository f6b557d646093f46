#pragma once
// AppFileRule: all rules of a RuleManager compiled into one forest: per root
// directory a list of nodes, where paths that share a beginning share their
// directory nodes, sorted so that the first leaf to reach a name is the one
// that owns it. Per application the ids of the nodes that can produce its
// files are recorded, so that one walk of the disk serves every application.
//
// Two process-wide instances exist: all() with every category, and junk()
// with `caches` and `logs` only. Node ids come from one process-wide
// counter, so no two forests share an id.
//
// Threading: immutable after construction and read by any number of threads
// without a lock. all() and junk() are built once, on first use (forcing
// RuleManager::shared()); a thread that asks while another builds waits.
//
//   const auto& rule = Core::AppFileRule::junk();
//   auto wanted = rule.matcherIDs("com.example.Notes");
//   for (const auto& [root, nodes] : rule.rules()) walk(root, nodes, wanted);

#include "Core/foundation/CaseInsensitiveString.h"
#include "Core/rules/DirectoryMatcher.h"
#include "Core/rules/MatcherContext.h"
#include "Core/rules/MatcherIDSet.h"
#include "Core/rules/MatcherNode.h"
#include "Core/rules/RuleManager.h"
#include "platform/Regex.h"
#include "platform/URL.h"

#include <map>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Core {

class AppFileRule {
public:
    // The instance with all nine categories; throws ResourceError as
    // RuleManager::shared() does.
    static const AppFileRule& all();
    // The instance with `caches` and `logs` only.
    static const AppFileRule& junk();

    // Compiles the rules of RuleManager::shared().
    explicit AppFileRule(bool includeAll);
    // Compiles the rules of `manager` (tests, the console host, other
    // documents).
    AppFileRule(const RuleManager& manager, bool includeAll);

    // The forest: root directory to its list of nodes, roots in path order.
    const std::map<platform::URL, std::vector<MatcherNode>>& rules() const { return _rules; }
    const std::unordered_map<CaseInsensitiveString, std::shared_ptr<MatcherIDSet>>& matcherIDSet() const {
        return _matcherIDSet;
    }
    const std::unordered_map<platform::Regex, std::shared_ptr<MatcherIDSet>>& regexMatcherIDSet() const {
        return _regexMatcherIDSet;
    }
    const std::shared_ptr<MatcherIDSet>& baseMatcherIDSet() const { return _baseMatcherIDSet; }

    // The ids of every node that may produce files for `id`: its exact
    // rule's, those of every pattern that finds it, and the base rule's.
    // An unknown id gets the base set alone.
    std::unordered_set<MatcherID> matcherIDs(std::string_view id) const;

    // The number of nodes of the forest, directories and leaves.
    size_t nodeCount() const;

private:
    std::map<platform::URL, std::vector<MatcherNode>> _rules;
    std::unordered_map<CaseInsensitiveString, std::shared_ptr<MatcherIDSet>> _matcherIDSet;
    std::unordered_map<platform::Regex, std::shared_ptr<MatcherIDSet>> _regexMatcherIDSet;
    std::shared_ptr<MatcherIDSet> _baseMatcherIDSet;
};

}  // namespace Core
