#pragma once
// PublicSuffixRule: one node of the public suffix tree, keyed by labels from
// the top-level label down. A wildcard rule ("*.x") is a child labelled "*"
// like any other; an exception rule ("!y.x") puts "y" into `exclude` of x's
// node and makes no child.
//
// A plain tree owned by PublicSuffixList; immutable once loaded.

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace Core {

class PublicSuffixRule {
public:
    using Children = std::unordered_map<std::string, std::unique_ptr<PublicSuffixRule>>;

    // The path of labels ending here is itself a public suffix (`this` of
    // the record; a keyword in C++).
    bool isThis = false;
    // Deeper rules by label; absent when there are none.
    std::optional<Children> next;
    // Labels with an exception rule below this node; absent when none.
    std::optional<std::unordered_set<std::string>> exclude;
};

}  // namespace Core
