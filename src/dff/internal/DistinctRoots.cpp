#include "dff/internal/DistinctRoots.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace dff::internal {

namespace {

// `inner` lies below `outer` (both resolved).
bool isBelow(const std::string& inner, const std::string& outer) {
    if (outer == "/") return inner.size() > 1;
    return inner.size() > outer.size() && inner.compare(0, outer.size(), outer) == 0 && inner[outer.size()] == '/';
}

}  // namespace

std::vector<Path> distinctRoots(const std::vector<Path>& roots) {
    std::vector<std::string> resolved;
    for (const Path& root : roots) {
        std::unique_ptr<char, decltype(&std::free)> real(::realpath(root.cStr(), nullptr), &std::free);
        // A root that can't be resolved is walked (and found empty) as given.
        resolved.emplace_back(real ? real.get() : root.str());
    }
    std::vector<Path> kept;
    for (size_t i = 0; i < roots.size(); ++i) {
        bool covered = false;
        for (size_t j = 0; j < roots.size() && !covered; ++j)
            covered = j != i && ((j < i && resolved[j] == resolved[i]) || isBelow(resolved[i], resolved[j]));
        if (!covered) kept.push_back(roots[i]);
    }
    return kept;
}

}  // namespace dff::internal
