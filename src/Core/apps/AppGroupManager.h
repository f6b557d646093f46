#pragma once
// AppGroupManager: the vendor and the display group of a bundle identifier,
// from the shipped documents "app_vender.yaml" and "app_group.yaml" (plain
// YAML sequences of records with "domain", "name" and "ids").
//
// Vendors: a record whose name is a vendor's raw value gives that vendor its
// lowercased "domain" (an identifier prefix) and its lowercased "ids"; a
// record with any other name, and an empty domain, are passed by. Groups: a
// record's name picks the fixed group of that name, or makes an `other`
// group; its "ids" (compared exactly) join the group, its "domain" is not
// used. A document that is missing or doesn't decode leaves its tables
// empty: every id then has the vendor `other` and no group.
//
// Threading: immutable after construction; shared() is built once, on first
// use, and lives as long as the process. Read from any thread.
//
//   const auto& groups = Core::AppGroupManager::shared();
//   groups.getVender("com.adobe.Photoshop");           // AppVender::adobe
//   groups.get("com.microsoft.Word")->groupName();     // "Microsoft Office"

#include "Core/apps/AppGroup.h"
#include "Core/apps/AppVender.h"
#include "Core/foundation/CaseInsensitiveString.h"
#include "Core/rules/DecodableGroup.h"

#include <map>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Core {

class AppGroupManager {
public:
    // The process-wide instance over the resources folder's documents.
    static const AppGroupManager& shared();

    AppGroupManager(const std::vector<DecodableGroup>& venders, const std::vector<DecodableGroup>& groups);
    // Reads "app_vender.yaml" and "app_group.yaml" from the shared resource
    // bundle; a missing or undecodable one counts as empty.
    static AppGroupManager fromResources();

    // The vendor of `id`: the first domain (in document order) that is a
    // prefix of the lowercased id; else the first vendor (in the order of
    // AppVender) whose ids hold the lowercased id; else `other`.
    AppVender getVender(const CaseInsensitiveString& id) const;
    // The first group (in document order) whose ids hold `id` exactly;
    // nothing when none does.
    std::optional<AppGroup> get(const CaseInsensitiveString& id) const;

private:
    std::map<AppVender, std::unordered_set<std::string>> _appVenderIDDict;
    // In document order, each domain once: the first matching prefix wins.
    std::vector<std::pair<std::string, AppVender>> _venderDomainDict;
    // In document order, each group once.
    std::vector<std::pair<AppGroup, std::unordered_set<std::string>>> _appGroupsIDDict;
};

}  // namespace Core
