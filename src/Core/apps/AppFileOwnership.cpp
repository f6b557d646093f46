#include "Core/apps/AppFileOwnership.h"

#include "platform/Layout.h"

namespace Core {

AppFileOwnership::AppFileOwnership(const MacApp& app)
    : _bundleID(app.bundleID()),
      _organization(app.organization()),
      _bundleIDs(app.bundleIDs()),
      _bundleNames(app.bundleNames) {}

std::optional<App> AppFileOwnership::owner(const std::optional<CaseInsensitiveString>& id) const {
    if (!id) return App::macApp(MacAppID::bundleID(_bundleID));
    if (_bundleIDs.contains(*id)) return App::macApp(MacAppID::bundleID(*id));
    if (_bundleNames.contains(*id)) return App::macApp(MacAppID::bundleName(*id));
    if (_organization && *_organization == *id) return App::macApp(MacAppID::organization(*id));
    return std::nullopt;
}

std::vector<AppFileInfo> findAppFiles(FileFinder& finder, const MacApp& app) {
    const AppFileOwnership ownership(app);
    const auto wanted = finder.appFileRule().matcherIDs(app.bundleID().origin());
    const platform::URL systemFolder =
        platform::URL::fileURL(platform::Layout::shared().systemPath("/Library/Application Support/Apple"));
    std::vector<AppFileInfo> files;
    finder.find([&](MatcherID id) { return wanted.contains(id); },
                [&](const std::optional<CaseInsensitiveString>& id, const std::shared_ptr<FileInfo>& info,
                    const AppFileKind& kind, const RuleID&) {
                    auto owner = ownership.owner(id);
                    if (!owner) return;
                    info->used = true;
                    if (info->url == systemFolder) return;
                    files.push_back({info, kind, std::move(*owner)});
                });
    return files;
}

}  // namespace Core
