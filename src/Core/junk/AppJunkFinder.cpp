#include "Core/junk/AppJunkFinder.h"

#include "Core/apps/AppFileOwnership.h"
#include "Core/apps/AppFileSizing.h"
#include "Core/apps/InstalledApplications.h"
#include "Core/apps/MacAppBuilder.h"
#include "Core/files/FileManager.h"
#include "Core/finder/FileFinder.h"
#include "Core/foundation/MacApp.h"
#include "Core/foundation/Progress.h"
#include "Core/junk/internal/Exclusions.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace Core {

namespace {

using platform::URL;
namespace dispatch = platform::dispatch;
using Bundles = std::vector<std::shared_ptr<AppBundle>>;

bool isKind(const AppFileInfo& file, AppFileKind::Case kind) { return file.kind.kindCase() == kind; }

void dropKind(std::vector<AppFileInfo>& files, AppFileKind::Case kind) {
    std::erase_if(files, [kind](const AppFileInfo& f) { return isKind(f, kind); });
}

}  // namespace

// One run: what it needs, copied at the start. The context holds the run's
// work item, so the run holds the finder and the context only while it runs.
class AppJunkFinder::Run {
public:
    std::weak_ptr<AppJunkFinder> owner;
    JunkFileFinderConfig config;
    std::shared_ptr<Progress> progress;
    std::vector<URL> excludedFiles;
    std::vector<URL> excludedApps;
    std::vector<std::string> excludedIDs;

    void operator()() {
        finder = owner.lock();
        context = FileFinderContext::current();
        if (finder && context) scan();
        finder.reset();
        context.reset();
    }

private:
    std::shared_ptr<AppJunkFinder> finder;
    std::shared_ptr<FileFinderContext> context;

    void scan() {
        FileFinder walk(finder->appFileRule, finder->_fileSystem);
        auto apps = installedApplications();
        if (!apps) return;
        progress->finishPart();
        progress->partTotal = static_cast<int64_t>(apps->size());

        struct Browser {
            URL appURL;
            CaseInsensitiveString id;
            std::vector<AppFileInfo> files;
        };
        std::vector<Browser> browsers;
        const auto& browserIDs = AppJunkFinder::browserIDs();
        for (const auto& [id, bundles] : *apps) {
            if (context->interrupted()) return;
            auto files = findAppFiles(walk, *makeMacApp(bundles));
            if (std::find(browserIDs.begin(), browserIDs.end(), id) != browserIDs.end()) {
                if (!config.internetCaches) dropKind(files, AppFileKind::Case::cache);
                // The browsers' logs are application logs like any other's.
                if (!config.appLogs) dropKind(files, AppFileKind::Case::log);
                browsers.push_back({bundles.front()->url(), id, std::move(files)});
            } else {
                if (id == CaseInsensitiveString("com.apple.dt.Xcode") && !config.xcode) files.clear();
                if (!config.appCaches) dropKind(files, AppFileKind::Case::cache);
                if (!config.appLogs) dropKind(files, AppFileKind::Case::log);
                auto sized = sizedAroundExclusions(files);
                if (!sized.empty()) post(MacAppJunkFile{bundles.front()->url(), id, std::move(sized)}, false);
            }
            ++progress->partProgress;
            progress->reportPart();
        }
        progress->finishPart();

        if (!orphans(walk)) return;
        progress->finishPart();

        for (auto& browser : browsers) {
            if (context->interrupted()) return;
            auto sized = sizedAroundExclusions(browser.files);
            if (!sized.empty()) post(MacAppJunkFile{browser.appURL, browser.id, std::move(sized)}, true);
        }
        progress->finishPart();
    }

    using Entry = std::pair<CaseInsensitiveString, Bundles>;

    // The installed applications by identifier, in the order found, those
    // in the usual application folders first; nothing when interrupted.
    std::optional<std::vector<Entry>> installedApplications() const {
        std::vector<Entry> entries;
        std::unordered_map<CaseInsensitiveString, size_t> index;
        for (const auto& url : installedApplicationURLs()) {
            if (context->interrupted()) return std::nullopt;
            if (std::find(excludedApps.begin(), excludedApps.end(), url) != excludedApps.end()) continue;
            context->urlObservable.update([&] { return url; });
            auto bundle = finder->bundleLoader.load(url);
            if (!bundle) continue;
            auto [at, added] = index.try_emplace(bundle->bundleID(), entries.size());
            if (added) entries.push_back({bundle->bundleID(), {}});
            entries[at->second].second.push_back(std::move(bundle));
        }
        const auto& layout = platform::Layout::shared();
        const std::vector<std::string> regularFolders = {layout.systemPath("/Applications") + "/",
                                                         finder->userApplicationsPath,
                                                         layout.systemPath("/System/Applications") + "/"};
        auto regular = [&](const Entry& e) {
            const std::string& path = e.second.front()->url().path();
            return std::any_of(regularFolders.begin(), regularFolders.end(),
                               [&](const std::string& folder) { return path.starts_with(folder); });
        };
        std::stable_partition(entries.begin(), entries.end(), regular);
        return entries;
    }

    // Sized records of `files`, less what is excluded, each split around
    // the exclusions inside it.
    std::vector<AppFile> sizedAroundExclusions(const std::vector<AppFileInfo>& files) const {
        std::vector<AppFile> out;
        for (const auto& file : files) {
            if (context->interrupted()) break;
            if (internal::isExcluded(file.file->url, excludedFiles)) continue;
            auto pieces = internal::splitAroundExclusions(file.file->url, excludedFiles);
            if (pieces.size() == 1 && pieces.front() == file.file->url) {
                // Whole: measured once per FileInfo, whoever else holds it.
                auto sized = sizeAppFiles({file});
                out.insert(out.end(), sized.begin(), sized.end());
                continue;
            }
            for (auto& piece : pieces) {
                int64_t size = FileManager::size(piece);
                out.emplace_back(std::move(piece), size, file.kind, file.owner);
            }
        }
        return out;
    }

    // The second walk: every rule's hits that no installed application
    // took, less the black and system rules' claims, posted by identifier.
    // False when interrupted.
    bool orphans(FileFinder& walk) const {
        struct Hit {
            CaseInsensitiveString id;
            std::shared_ptr<FileInfo> info;
            AppFileKind kind;
        };
        std::vector<Hit> hits;
        walk.find([](MatcherID) { return true; },
                  [&](const std::optional<CaseInsensitiveString>& id, const std::shared_ptr<FileInfo>& info,
                      const AppFileKind& kind, const RuleID& rule) {
                      if (info->used) return;
                      if (rule.ruleCase() == RuleID::Case::black || rule.ruleCase() == RuleID::Case::system) return;
                      hits.push_back({id.value_or(CaseInsensitiveString()), info, kind});
                  });
        if (context->interrupted()) return false;
        std::erase_if(hits, [&](const Hit& h) {
            return (!config.appCaches && h.kind.kindCase() == AppFileKind::Case::cache) ||
                   (!config.appLogs && h.kind.kindCase() == AppFileKind::Case::log);
        });

        std::unordered_set<CaseInsensitiveString> leftOut(excludedIDs.begin(), excludedIDs.end());
        for (const auto& url : excludedApps)
            if (auto bundle = finder->bundleLoader.load(url)) leftOut.insert(bundle->bundleID());

        std::vector<CaseInsensitiveString> order;
        std::unordered_map<CaseInsensitiveString, std::vector<AppFile>> byID;
        for (const auto& hit : hits) {
            if (context->interrupted()) return false;
            if (leftOut.contains(hit.id) || internal::isExcluded(hit.info->url, excludedFiles)) continue;
            std::vector<AppFile> files;
            for (auto& piece : internal::sizedPiecesAroundExclusions(hit.info->url, excludedFiles))
                files.emplace_back(piece.url(), piece.size(), hit.kind, App::app(hit.id));
            if (hit.id.origin().empty()) {
                postOrphan(hit.info->url.lastPathComponent(), std::move(files));
                continue;
            }
            auto [at, added] = byID.try_emplace(hit.id);
            if (added) order.push_back(hit.id);
            at->second.insert(at->second.end(), files.begin(), files.end());
        }
        for (const auto& id : order) postOrphan(id, std::move(byID[id]));
        return true;
    }

    template <class Call>
    void deliver(Call call) const {
        dispatch::mainQueue()->async([weak = owner, call = std::move(call)] {
            auto self = weak.lock();
            if (!self) return;
            if (auto delegate = self->delegate.lock()) call(*delegate);
        });
    }

    void post(MacAppJunkFile junk, bool browser) const {
        deliver([junk = std::move(junk), browser](AppJunkFinderDelegate& d) {
            if (browser) d.appJunkFinderFoundInternetCache(junk);
            else d.appJunkFinderFoundAppJunk(junk);
        });
    }

    void postOrphan(CaseInsensitiveString id, std::vector<AppFile> files) const {
        if (files.empty()) return;
        deliver([id = std::move(id), files = std::move(files)](AppJunkFinderDelegate& d) {
            d.appJunkFinderFoundOrphanJunk(id, files);
        });
    }
};

const std::vector<CaseInsensitiveString>& AppJunkFinder::browserIDs() {
    static const std::vector<CaseInsensitiveString> ids = {
        "com.apple.Safari",  "com.google.Chrome", "org.mozilla.firefox",           "com.microsoft.edgemac",
        "com.operasoftware.Opera", "com.brave.Browser", "com.operasoftware.OperaDeveloper"};
    return ids;
}

AppJunkFinder::AppJunkFinder() : AppJunkFinder(AppFileRule::junk()) {}

AppJunkFinder::AppJunkFinder(const AppFileRule& appFileRule, std::shared_ptr<const FileSystem> fileSystem)
    : appFileRule(appFileRule),
      userApplicationsPath(platform::joinPath(platform::Layout::shared().home(), "Applications")),
      _fileSystem(std::move(fileSystem)) {}

AppJunkFinder::~AppJunkFinder() { stop(); }

void AppJunkFinder::start(const JunkFileFinderConfig& config) {
    std::weak_ptr<AppJunkFinder> weakSelf = weak_from_this();
    context = FileFinderContext::make([weakSelf](URL url) {
        if (auto self = weakSelf.lock())
            if (auto d = self->delegate.lock()) d->appJunkFinderScanning(url);
    });
    auto queue = dispatch::makeSerialQueue("AppJunkFinder.start", dispatch::QoS::userInitiated);
    queue->setSpecific(FileFinderContext::specificKey(), context);

    auto run = std::make_shared<Run>();
    run->owner = weakSelf;
    run->config = config;
    run->progress = std::make_shared<Progress>(std::vector<int64_t>{1, 6, 2, 1}, [weakSelf](double value) {
        if (auto self = weakSelf.lock())
            if (auto d = self->delegate.lock()) d->appJunkFinderProgress(value);
    });
    run->excludedFiles = exclubeFilesUrls;
    run->excludedApps = exclubeAppUrls;
    run->excludedIDs = exclubeAppIds;

    auto item = std::make_shared<dispatch::WorkItem>([run] { (*run)(); });
    context->workItems.push_back(item);
    queue->async(item);
    // Queued behind the run, so it comes after every report, also when the
    // run was cancelled before it began; a stopped run finishes silently.
    queue->async([weakSelf, context = context] {
        dispatch::mainQueue()->async([weakSelf, context] {
            auto self = weakSelf.lock();
            if (!self || context->interrupted()) return;
            if (auto d = self->delegate.lock()) d->appJunkFinderDidFinish();
        });
    });
}

void AppJunkFinder::stop() {
    if (context) context->interrupt();
    context.reset();
}

}  // namespace Core
