#include "Core/apps/AppFileFinder.h"

#include "Core/apps/AppFileOwnership.h"
#include "Core/apps/AppFileSizing.h"
#include "Core/apps/AppRegistry.h"
#include "Core/apps/InstalledApplications.h"
#include "Core/apps/MacAppBuilder.h"
#include "Core/apps/PrivilegedHelpers.h"
#include "Core/apps/PublicSuffixList.h"
#include "platform/Analytics.h"
#include "platform/Layout.h"

#include <algorithm>

namespace Core {

using platform::dispatch::globalQueue;
using platform::dispatch::mainQueue;
using platform::dispatch::QoS;
using platform::dispatch::QueuePtr;

namespace {

// The priority of the files that no rule gives: helper tools and the
// bundles of folded applications.
constexpr int64_t kAddedFilePriority = 10;

bool contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

struct PreparedExclusions {
    std::mutex mutex;
    LeftoverExclusions exclusions;
};

PreparedExclusions& preparedExclusions() {
    static PreparedExclusions prepared;
    return prepared;
}

platform::dispatch::Group& preparing() {
    static platform::dispatch::Group group;
    return group;
}

bool hasURL(const std::vector<AppFileInfo>& files, const platform::URL& url) {
    return std::any_of(files.begin(), files.end(), [&](const AppFileInfo& f) { return f.file->url == url; });
}

// Adds the further ids that the rule document gives each id.
void widenWithExtraIDs(std::unordered_set<CaseInsensitiveString>& ids) {
    const auto& rules = RuleManager::shared();
    std::vector<CaseInsensitiveString> base(ids.begin(), ids.end());
    for (const auto& id : base) {
        auto extra = rules.extraInfo(id.origin());
        ids.insert(extra.ids.begin(), extra.ids.end());
    }
}

}  // namespace

std::shared_ptr<AppFileFinder> AppFileFinder::make(const AppFileRule& rule,
                                                   std::shared_ptr<const FileSystem> fileSystem) {
    return std::make_shared<AppFileFinder>(rule, std::move(fileSystem));
}

AppFileFinder::AppFileFinder(const AppFileRule& rule, std::shared_ptr<const FileSystem> fileSystem)
    : finder(rule, std::move(fileSystem)), seriallyDispatchQueue(platform::dispatch::makeSerialQueue("AppFileFinder", QoS::userInitiated)) {}

void AppFileFinder::prepare() {
    globalQueue()->async(preparing(), [] {
        const auto& rules = RuleManager::shared();
        AppFileRule::all();
        AppFileRule::junk();
        setLeftoverExclusionsForTesting(readLeftoverExclusions(rules));
    });
}

void AppFileFinder::whenPrepared(std::function<void()> block) { preparing().notify(mainQueue(), std::move(block)); }

LeftoverExclusions AppFileFinder::leftoverExclusions() {
    auto& prepared = preparedExclusions();
    std::lock_guard lock(prepared.mutex);
    return prepared.exclusions;
}

void AppFileFinder::setLeftoverExclusionsForTesting(LeftoverExclusions exclusions) {
    auto& prepared = preparedExclusions();
    std::lock_guard lock(prepared.mutex);
    prepared.exclusions = std::move(exclusions);
}

LeftoverExclusions AppFileFinder::readLeftoverExclusions(const RuleManager& manager) {
    LeftoverExclusions exclusions;
    auto black = manager.rules().find(RuleID::black());
    if (black == manager.rules().end() || !black->second.support) return exclusions;
    for (const auto& [kind, paths] : *black->second.support) {
        if (kind != AppFileKind(AppFileKind::Case::preference)) continue;
        for (const auto& path : paths) {
            switch (path.nameMatcher.matcherCase()) {
                case Matcher::Case::string: exclusions.ids.insert(path.nameMatcher.name()); break;
                case Matcher::Case::regex: exclusions.expressions.push_back(path.nameMatcher.expression()); break;
                case Matcher::Case::any:
                case Matcher::Case::id: break;
            }
        }
    }
    return exclusions;
}

void AppFileFinder::stop() {
    if (!context) return;
    context->interrupt();
    context.reset();
}

// MARK: - Applications

void AppFileFinder::scan() {
    finder.clearCache();
    if (bundleLoader.uuidMapper()) bundleLoader.uuidMapper()->clear();
    context = FileFinderContext::make([](const platform::URL&) {});
    globalQueue()->async([self = shared_from_this(), running = context] { self->runScan(running); });
}

void AppFileFinder::runScan(const std::shared_ptr<FileFinderContext>& running) {
    const auto& layout = platform::Layout::shared();
    AppBundleMap apps;
    std::vector<CaseInsensitiveString> order;
    std::unordered_map<CaseInsensitiveString, platform::URL> lastURLs;
    for (const auto& url : installedApplicationURLs({layout.systemPath("/Applications"), layout.home()})) {
        if (running->interrupted()) break;
        if (rootless(url)) continue;
        if (std::find(excludeAppUrls.begin(), excludeAppUrls.end(), url) != excludeAppUrls.end()) continue;
        auto bundle = bundleLoader.load(url);
        if (!bundle) continue;
        const CaseInsensitiveString id = bundle->bundleID();
        const std::string& text = id.origin();
        if (text == "com.sogou.SogouInstaller" || contains(text, "com.apple.automator") ||
            contains(text, "com.apple.Safari"))
            continue;
        auto [entry, inserted] = apps.try_emplace(id);
        if (inserted) order.push_back(id);
        entry->second.push_back(bundle);
        lastURLs.insert_or_assign(id, url);
        mainQueue()->async([self = shared_from_this(), id, url] {
            if (auto d = self->delegate.lock()) d->appFileFinderFoundApp(id, url);
        });
    }

    // An application that names another installed one among its ids takes
    // it in: the other's bundle becomes one of its files.
    std::vector<CaseInsensitiveString> folded;
    for (const auto& mainID : order) {
        const auto ids = makeMacApp(apps.at(mainID))->bundleIDs();
        for (const auto& other : order) {
            if (other == mainID || !ids.contains(other)) continue;
            if (auto d = delegate.lock()) d->appFileFinderFoundSubApp(other);
            folded.push_back(other);
            if (auto url = lastURLs.find(other); url != lastURLs.end())
                subApps[mainID].push_back({std::make_shared<FileInfo>(url->second, kAddedFilePriority),
                                           AppFileKind::Case::support, App::macApp(MacAppID::bundleID(mainID))});
        }
    }
    for (const auto& id : folded) apps.erase(id);
    mainQueue()->async([self = shared_from_this(), apps = std::move(apps)] {
        if (auto d = self->delegate.lock()) d->appFileFinderDidFinishScan(apps);
    });
}

void AppFileFinder::startScanAppFiles(const AppBundleMap& apps) {
    auto queue = platform::dispatch::makeConcurrentQueue("startScanAppFiles(apps:)", QoS::userInitiated);
    if (context) queue->setSpecific(FileFinderContext::specificKey(), context);
    globalQueue()->async([self = shared_from_this(), apps, queue, running = context] {
        self->runAppFiles(apps, queue, running);
    });
}

void AppFileFinder::runAppFiles(const AppBundleMap& apps, const QueuePtr& queue,
                                const std::shared_ptr<FileFinderContext>& running) {
    const auto helpers = privilegedHelperMap();
    auto sink = platform::AnalyticsSink::shared();
    for (const auto& [id, url] : helpers) sink->line(id.origin() + " " + url.absoluteString());

    for (const auto& entry : apps) {
        // Named, not a structured binding: the work item below captures id.
        const auto& id = entry.first;
        const auto& bundles = entry.second;
        if (bundles.empty()) continue;
        if (running && running->interrupted()) break;
        auto app = makeMacApp(bundles);
        auto files = findAppFiles(finder, *app);
        if (auto sub = subApps.find(id); sub != subApps.end())
            files.insert(files.end(), sub->second.begin(), sub->second.end());
        if (auto helper = helpers.find(id); helper != helpers.end() && !hasURL(files, helper->second))
            files.push_back({std::make_shared<FileInfo>(helper->second, kAddedFilePriority),
                             AppFileKind::Case::support, App::macApp(MacAppID::bundleID(id))});

        // The context keeps its work items, so an item holds neither the
        // context nor the finder (which holds the context); the barrier
        // below keeps the finder alive.
        auto work = [weakSelf = weak_from_this(), id, files = std::move(files), app,
                     weakRunning = std::weak_ptr<FileFinderContext>(running)] {
            // A stop that came before the item was registered cancels nothing.
            if (auto context = weakRunning.lock(); context && context->interrupted()) return;
            auto sized = sizeAppFiles(files);
            auto bundleFiles = sizeBundleFiles(app->urls);
            mainQueue()->sync([&] {
                auto self = weakSelf.lock();
                if (auto d = self ? self->delegate.lock() : nullptr) d->appFileFinderFoundFiles(id, sized, bundleFiles);
            });
        };
        if (running) {
            auto item = std::make_shared<platform::dispatch::WorkItem>(std::move(work));
            // The work items belong to the main thread, where stop() runs.
            mainQueue()->async([running, item] { running->workItems.push_back(item); });
            queue->async(item);
        } else {
            queue->async(std::move(work));
        }
    }
    queue->asyncBarrier([self = shared_from_this()] {
        mainQueue()->async([self] {
            if (auto d = self->delegate.lock()) d->appFileFinderDidFinishFiles();
        });
    });
}

// MARK: - Leftovers

void AppFileFinder::startScanLeftoversList() {
    seriallyDispatchQueue->async([self = shared_from_this()] { self->runLeftoversList(); });
}

void AppFileFinder::runLeftoversList() {
    const auto& layout = platform::Layout::shared();
    const std::string userLibrary = platform::joinPath(layout.home(), "Library") + "/";
    const std::string applications = layout.systemPath("/Applications");
    std::vector<platform::URL> urls;
    bool anyInApplications = false;
    for (auto& url : installedApplicationURLs()) {
        if (url.path().starts_with(userLibrary)) continue;
        anyInApplications = anyInApplications || url.path().starts_with(applications);
        urls.push_back(std::move(url));
    }
    // A list without the applications folder means the listing failed;
    // calling everything a leftover then would be the worst answer.
    if (anyInApplications) {
        AppBundleMap apps;
        for (const auto& url : urls)
            if (auto bundle = bundleLoader.load(url)) apps[bundle->bundleID()].push_back(bundle);
        LeftoverFilter filter(installedIDs(apps), excludeLeftoverIds);
        hasJetbrainsApp = filter.hasJetbrainsApp();
        hasSketchApp = filter.hasSketchApp();
        auto candidates = findLeftoverCandidates(leftoverExclusions());
        predictionAppFiles = std::move(candidates.predictedFiles);
        for (const auto& id : candidates.ids) {
            if (!filter.isLeftover(id)) continue;
            mainQueue()->async([self = shared_from_this(), id] {
                if (auto d = self->leftoverDelegate.lock()) d->leftoverFinderFoundId(id);
            });
        }
    }
    mainQueue()->async([self = shared_from_this()] {
        if (auto d = self->leftoverDelegate.lock()) d->leftoverFinderDidFinishList();
    });
}

std::unordered_set<CaseInsensitiveString> AppFileFinder::installedIDs(const AppBundleMap& apps) {
    std::unordered_set<CaseInsensitiveString> ids;
    for (const auto& id : AppRegistry::shared()->registeredBundleIDs().value_or(std::vector<std::string>{}))
        ids.insert(id);
    widenWithExtraIDs(ids);
    if (!ids.empty()) {
        for (const auto& entry : apps) ids.insert(entry.first);
        return ids;
    }
    // Without the registry, read every bundle's ids, in parallel.
    auto gather = platform::dispatch::makeConcurrentQueue("com.oxmerl.leftover.idsQueue", QoS::userInitiated);
    auto guard = platform::dispatch::makeSerialQueue("com.oxmerl.leftover.idsQueue.s", QoS::userInitiated);
    for (const auto& entry : apps) {
        gather->async([&ids, &guard, &bundles = entry.second] {
            std::vector<CaseInsensitiveString> found;
            for (const auto& bundle : bundles)
                found.insert(found.end(), bundle->bundleIDs().begin(), bundle->bundleIDs().end());
            guard->sync([&] { ids.insert(found.begin(), found.end()); });
        });
    }
    gather->syncBarrier([&] { guard->sync([&] { widenWithExtraIDs(ids); }); });
    return ids;
}

void AppFileFinder::startScanLeftoverFiles(const std::vector<CaseInsensitiveString>& ids) {
    auto queue = platform::dispatch::makeConcurrentQueue("startScanLeftoverFiles(ids:)", QoS::userInitiated);
    globalQueue()->async([self = shared_from_this(), ids, queue] { self->runLeftoverFiles(ids, queue); });
}

void AppFileFinder::runLeftoverFiles(const std::vector<CaseInsensitiveString>& ids, const QueuePtr& queue) {
    for (const auto& id : ids) {
        const CaseInsensitiveString organization(PublicSuffixList::shared().organizationName(id.origin()).value_or(""));
        const auto wanted = finder.appFileRule().matcherIDs(id.origin());
        std::vector<AppFileInfo> files;
        finder.find([&](MatcherID m) { return wanted.contains(m); },
                    [&](const std::optional<CaseInsensitiveString>& hit, const std::shared_ptr<FileInfo>& info,
                        const AppFileKind& kind, const RuleID&) {
                        if (!hit || (*hit != id && *hit != organization) || info->used) return;
                        files.push_back({info, kind, App::app(id)});
                    });
        for (const auto& predicted : predictionAppFiles)
            if (!predicted.owner.isMacApp() && predicted.owner.id() == id && !hasURL(files, predicted.file->url))
                files.push_back(predicted);
        queue->async([self = shared_from_this(), id, files = std::move(files)] {
            auto sized = sizeAppFiles(files);
            mainQueue()->async([self, id, sized = std::move(sized)] {
                if (auto d = self->leftoverDelegate.lock()) d->leftoverFinderFoundFiles(id, sized);
            });
        });
    }
    queue->asyncBarrier([self = shared_from_this()] {
        mainQueue()->async([self] {
            if (auto d = self->leftoverDelegate.lock()) d->leftoverFinderDidFinishFiles();
        });
    });
}

}  // namespace Core
