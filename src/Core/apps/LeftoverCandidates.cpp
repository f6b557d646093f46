#include "Core/apps/LeftoverCandidates.h"

#include "Core/apps/PublicSuffixList.h"
#include "Core/files/FileManager.h"
#include "platform/Layout.h"
#include "platform/Strings.h"

#include <unordered_set>

namespace Core {
namespace {

constexpr std::string_view kPlist = ".plist";

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }
bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

void removeAll(std::string& text, std::string_view part) {
    if (part.empty()) return;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at)) text.erase(at, part.size());
}

std::vector<URLResource> listOneLevel(const std::string& folder) {
    return FileManager::contentsOrEmpty(platform::URL::fileURL(folder, true), {ResourceKey::isDirectory});
}

class Collector {
public:
    explicit Collector(LeftoverCandidates& out) : _out(out) {}
    void add(const std::string& id, const URLResource& entry, const AppFileKind& kind) {
        if (_seen.insert(id).second) _out.ids.push_back(id);
        const bool isDirectory = entry.resourceValues.isDirectory.value_or(false);
        _out.predictedFiles.push_back(
            {std::make_shared<FileInfo>(platform::URL::fileURL(entry.url.path(), isDirectory), 40), kind, App::app(id)});
    }

private:
    LeftoverCandidates& _out;
    std::unordered_set<std::string> _seen;
};

}  // namespace

bool LeftoverExclusions::excludes(const std::string& id) const {
    if (ids.contains(id)) return true;
    for (const auto& expression : expressions)
        if (expression.matches(id)) return true;
    return false;
}

std::string containerEntryID(std::string name) {
    static const auto teamPrefix = platform::Regex::compile("^[0-9a-zA-Z]{10}\\.$", 0);
    if (name.starts_with("group.")) removeAll(name, "group.");
    if (teamPrefix && name.size() >= 11) {
        const std::string prefix = name.substr(0, 11);
        if (teamPrefix->matches(prefix)) removeAll(name, prefix);
    }
    if (name.starts_with("group.")) removeAll(name, "group.");
    return name;
}

LeftoverCandidates findLeftoverCandidates(const LeftoverExclusions& exclusions) {
    LeftoverCandidates out;
    Collector collector(out);
    const std::string library = platform::Layout::shared().userLibrary();
    const std::pair<const char*, AppFileKind> containerRoots[] = {{"Containers", AppFileKind::Case::container},
                                                                   {"Application Scripts", AppFileKind::Case::support}};
    for (const auto& [folder, kind] : containerRoots) {
        for (const auto& entry : listOneLevel(platform::joinPath(library, folder))) {
            std::string name = entry.url.lastPathComponent();
            if (!entry.resourceValues.isDirectory.value_or(false)) {
                if (!endsWith(name, kPlist)) continue;
                name.resize(name.size() - kPlist.size());
            }
            if (contains(name, "com.apple.")) continue;
            collector.add(containerEntryID(std::move(name)), entry, kind);
        }
    }
    for (const auto& entry : listOneLevel(platform::joinPath(library, "Preferences"))) {
        std::string name = entry.url.lastPathComponent();
        if (entry.resourceValues.isDirectory.value_or(false)) {
            if (!contains(platform::lowercase(entry.url.path()), "jetbrains")) continue;
        } else {
            if (!endsWith(name, kPlist)) continue;
            name.resize(name.size() - kPlist.size());
        }
        if (exclusions.excludes(name) || contains(name, "com.apple.")) continue;
        collector.add(name, entry, AppFileKind::Case::preference);
    }
    return out;
}

namespace {

bool relatedLowercased(std::string_view a, std::string_view b) {
    if (contains(a, b) || contains(b, a)) return true;
    const auto pa = platform::splitNonEmpty(a, '.');
    const auto pb = platform::splitNonEmpty(b, '.');
    auto productAfterVendor = [](const std::vector<std::string_view>& p) -> std::optional<std::string_view> {
        for (size_t i = 0; i < p.size(); ++i)
            if (p[i] == "jetbrains") return i + 1 < p.size() ? std::optional(p[i + 1]) : std::nullopt;
        return std::nullopt;
    };
    auto productA = productAfterVendor(pa);
    auto productB = productAfterVendor(pb);
    if (productA && productB && *productA == *productB) return true;
    const size_t n = std::min(pa.size(), pb.size());
    if (n == 0) return false;
    size_t common = 0;
    while (common < n && pa[common] == pb[common]) ++common;
    return static_cast<double>(common) / static_cast<double>(n) - 0.5 >= 0.001;
}

}  // namespace

bool isRelatedID(std::string_view candidate, std::string_view installed) {
    return relatedLowercased(platform::lowercase(candidate), platform::lowercase(installed));
}

LeftoverFilter::LeftoverFilter(std::unordered_set<CaseInsensitiveString> installedIDs,
                               std::vector<std::string> excludedIDs)
    : _installedIDs(std::move(installedIDs)), _excludedIDs(std::move(excludedIDs)) {
    const auto& suffixes = PublicSuffixList::shared();
    for (const auto& id : _installedIDs) {
        std::string lower = id.lowercaseString();
        _hasJetbrainsApp = _hasJetbrainsApp || contains(lower, "jetbrains");
        _hasSketchApp = _hasSketchApp || contains(lower, "sketch");
        _installedLowercased.push_back(std::move(lower));
        if (auto domain = suffixes.organizationName(id.origin())) _installedDomains.insert(std::move(*domain));
    }
}

bool LeftoverFilter::isLeftover(const std::string& candidate) const {
    if (candidate.starts_with(".")) return false;
    if (platform::splitNonEmpty(candidate, '.').size() < 2) return false;
    for (const auto& excluded : _excludedIDs)
        if (candidate == excluded) return false;
    if (_installedIDs.contains(candidate)) return false;
    if (CaseInsensitiveString(candidate) == CaseInsensitiveString("com.firebase.FIRInstallations")) return false;
    if (contains(candidate, "is.workflow.")) return false;
    const std::string lower = platform::lowercase(candidate);
    if (_hasJetbrainsApp && contains(lower, "jetbrains")) return false;
    if (_hasSketchApp && contains(lower, "plugin.sketch")) return false;
    for (const auto& installed : _installedLowercased)
        if (relatedLowercased(lower, installed)) return false;
    auto domain = PublicSuffixList::shared().organizationName(candidate);
    return !(domain && _installedDomains.contains(*domain));
}

}  // namespace Core
