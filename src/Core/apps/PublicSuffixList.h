#pragma once
// PublicSuffixList: the organization of a reverse-domain identifier
// ("com.example.Notes" -> "example"), from the shipped
// "public_suffix_list.dat" in the published format. Labels are compared in
// lower case; the organization keeps the identifier's spelling.
//
// organizationName(for:) walks from the top-level label down while the tree
// has a rule for the next piece; where it stops, a node that is itself a
// suffix makes that piece the organization, and a piece named by an
// exception rule gives the piece after it. A wildcard rule is only a child
// labelled "*": it matches a piece that is "*" itself, nothing else.
//
// Threading: immutable after construction; shared() is built once, on first
// use, and lives as long as the process. Read from any thread.
//
//   Core::PublicSuffixList::shared().organizationName("uk.co.bbc.iplayer");   // "bbc"
//   Core::PublicSuffixList::shared().organizationName("localhost");           // nothing

#include "Core/apps/PublicSuffixRule.h"

#include <optional>
#include <string>
#include <string_view>

namespace Core {

class PublicSuffixList {
public:
    // The process-wide list from the resources folder; a missing list gives
    // an empty one (every lookup absent) and a line in the log.
    static const PublicSuffixList& shared();

    // Parses the text of a list: one rule a line, read up to the first white
    // space; empty lines and lines starting with "//" are passed by.
    explicit PublicSuffixList(std::string_view text);

    // The organization of `id` (top-level label first); nothing with fewer
    // than two pieces, an unknown top-level label, or no piece left where
    // the walk stops.
    std::optional<std::string> organizationName(std::string_view id) const;

    const PublicSuffixRule::Children& publicSuffixRules() const { return _publicSuffixRules; }

private:
    void addRule(std::string_view rule);

    PublicSuffixRule::Children _publicSuffixRules;
};

}  // namespace Core
