#pragma once
// The two halves of the leftover list that need no scanner: the ids read
// out of the names in the user's containers, application scripts and
// preferences (with the entries they name, as predicted files), and the
// tests that take an id off the list because an installed application
// accounts for it.
//
// Threading: plain functions and values; any thread.
//
//   auto candidates = Core::findLeftoverCandidates(exclusions);
//   Core::LeftoverFilter filter(installedIDs, excludeLeftoverIds);
//   for (const auto& id : candidates.ids) if (filter.isLeftover(id)) report(id);

#include "Core/finder/AppFileInfo.h"
#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/Regex.h"

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace Core {

// Preference names that are never leftovers: exact ids (without regard to
// case) and expressions that find a match anywhere in the id.
struct LeftoverExclusions {
    std::unordered_set<CaseInsensitiveString> ids;
    std::vector<platform::Regex> expressions;

    bool excludes(const std::string& id) const;
};

struct LeftoverCandidates {
    // Each id once, in the order the walk met it.
    std::vector<std::string> ids;
    // Per entry read: priority 40, owner App::app(id), kind container,
    // support or preference after the folder it lies in.
    std::vector<AppFileInfo> predictedFiles;
};

// Reads "Containers", "Application Scripts" and "Preferences" of the user's
// library one level deep. Folders that can't be listed add nothing.
LeftoverCandidates findLeftoverCandidates(const LeftoverExclusions& exclusions);

// The id a container or script entry's name stands for: group prefixes and
// a ten-character team prefix taken off.
std::string containerEntryID(std::string name);

// Whether a candidate id seems to belong to the family of an installed id:
// one contains the other, they name the same product of the same IDE
// vendor, or more than half of the shorter one's leading pieces agree.
bool isRelatedID(std::string_view candidate, std::string_view installed);

// Whether a candidate is reported, given what is installed.
class LeftoverFilter {
public:
    LeftoverFilter(std::unordered_set<CaseInsensitiveString> installedIDs, std::vector<std::string> excludedIDs);

    // True unless a dot-led name, a one-piece name, an excluded id, an
    // installed id, a known framework or shortcut id, a product of an
    // installed family, an id related to an installed one, or an id of an
    // installed vendor's domain.
    bool isLeftover(const std::string& candidate) const;

    // Any installed id names the IDE vendor / the design tool.
    bool hasJetbrainsApp() const { return _hasJetbrainsApp; }
    bool hasSketchApp() const { return _hasSketchApp; }

private:
    std::unordered_set<CaseInsensitiveString> _installedIDs;
    std::vector<std::string> _installedLowercased;
    std::unordered_set<std::string> _installedDomains;
    std::vector<std::string> _excludedIDs;
    bool _hasJetbrainsApp = false;
    bool _hasSketchApp = false;
};

}  // namespace Core
