#include "startup/LaunchdManagedItemsFinder.h"

#include "platform/Analytics.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"
#include "platform/LoginItemsList.h"
#include "startup/SpecialLoginItems.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>

namespace Core {

namespace {

// The host's own agents, daemons and helper carry this in their paths.
constexpr std::string_view kHostIdentifier = "com.oxmerl.MerlSweeper";
constexpr int kLaunchItemsEvent = 91;

bool stopRequested(const std::atomic<bool>* stopped) { return stopped != nullptr && stopped->load(); }

// The entries of a folder, hidden ones included, without descending; sorted
// by name so that a search lists in the same order each time. A folder that
// can't be listed has none.
std::vector<platform::URL> listFolder(const std::string& folder) {
    platform::dispatch::ScopedBlockingCall blocking;
    std::vector<std::string> names;
    if (DIR* dir = ::opendir(folder.c_str())) {
        while (const dirent* entry = ::readdir(dir)) {
            std::string_view name = entry->d_name;
            if (name != "." && name != "..") names.emplace_back(name);
        }
        ::closedir(dir);
    }
    std::sort(names.begin(), names.end());
    std::vector<platform::URL> urls;
    urls.reserve(names.size());
    for (const auto& name : names) urls.push_back(platform::fileURLWithPath(platform::joinPath(folder, name)));
    return urls;
}

void appendItems(std::vector<LaunchItem>& items, const std::string& folder, const LaunchItemType& type) {
    for (auto& url : listFolder(folder)) items.emplace_back(std::move(url), type);
}

}  // namespace

struct LaunchdManagedItemsFinder::Run {
    std::atomic<bool> stopped{false};
    platform::dispatch::Group group;
    std::vector<LaunchItem> launchdItems;
    std::vector<LaunchItem> appItems;
};

std::shared_ptr<LaunchItemsFinder> makeLaunchItemsFinder(std::weak_ptr<LaunchItemsFinderDelegate> delegate) {
    return std::make_shared<LaunchdManagedItemsFinder>(std::move(delegate));
}

std::weak_ptr<LaunchItemsFinderDelegate> LaunchdManagedItemsFinder::delegate() const {
    std::lock_guard lock(_mutex);
    return _delegate;
}

void LaunchdManagedItemsFinder::setDelegate(std::weak_ptr<LaunchItemsFinderDelegate> delegate) {
    std::lock_guard lock(_mutex);
    _delegate = std::move(delegate);
}

void LaunchdManagedItemsFinder::start() {
    auto run = std::make_shared<Run>();
    {
        std::lock_guard lock(_mutex);
        if (_run) _run->stopped = true;
        _run = run;
    }
    // The jobs hold the finder for their run; the final block only weakly,
    // so a host that let go of the finder hears nothing more.
    auto self = shared_from_this();
    auto queue = platform::dispatch::globalQueue();
    queue->async(run->group, [self, run] { run->launchdItems = self->findLaunchdItems(&run->stopped); });
    queue->async(run->group, [self, run] { run->appItems = self->findAppLoginItems(&run->stopped); });
    std::weak_ptr<LaunchdManagedItemsFinder> weakSelf = self;
    run->group.notify(platform::dispatch::mainQueue(), [weakSelf, run] {
        auto finder = weakSelf.lock();
        if (!finder) return;
        {
            std::lock_guard lock(finder->_mutex);
            if (finder->_run == run) finder->_run.reset();
        }
        if (!run->stopped) {
            for (const auto* items : {&run->launchdItems, &run->appItems}) {
                for (const auto& item : *items) {
                    if (auto delegate = finder->delegate().lock()) delegate->launchItemsFinderDidFind(item);
                }
            }
        }
        if (auto delegate = finder->delegate().lock()) delegate->launchItemsFinderDidFinish();
    });
}

void LaunchdManagedItemsFinder::stop() {
    std::lock_guard lock(_mutex);
    if (_run) _run->stopped = true;
}

std::vector<LaunchItem> LaunchdManagedItemsFinder::findLaunchdItems(const std::atomic<bool>* stopped) const {
    const auto& layout = platform::Layout::shared();
    std::vector<LaunchItem> items;
    if (const std::string local = layout.localLibrary(); !local.empty()) {
        appendItems(items, platform::joinPath(local, agentsFolder), LaunchItemType::globalAgent());
        if (!stopRequested(stopped))
            appendItems(items, platform::joinPath(local, daemonsFolder), LaunchItemType::globalDaemon());
        std::erase_if(items, [](const LaunchItem& item) {
            return item.url().path().find(kHostIdentifier) != std::string::npos;
        });
    }
    if (!stopRequested(stopped))
        appendItems(items, platform::joinPath(layout.userLibrary(), agentsFolder), LaunchItemType::userAgent());
    std::erase_if(items, [](const LaunchItem& item) {
        return item.url().lastPathComponent().find(".plist") == std::string::npos;
    });
    platform::AnalyticsSink::shared()->event(kLaunchItemsEvent, {});
    return items;
}

std::vector<LaunchItem> LaunchdManagedItemsFinder::findAppLoginItems(const std::atomic<bool>* stopped) const {
    std::vector<LaunchItem> items;
    for (const auto& app : listFolder(platform::Layout::shared().systemPath("/Applications"))) {
        if (stopRequested(stopped)) return items;
        auto appBundle = StartupBundle::read(app);
        if (!appBundle) continue;
        for (const auto& entry : listFolder(platform::joinPath(app.path(), "Contents/Library/LoginItems"))) {
            if (auto loginItem = StartupBundle::read(entry))
                items.emplace_back(app, LaunchItemType::appLoginItem({*appBundle, std::move(*loginItem)}));
        }
    }
    for (auto& url : sessionLoginItemURLs().value_or(std::vector<platform::URL>{})) {
        if (stopRequested(stopped)) return items;
        if (auto bundle = StartupBundle::read(url))
            items.emplace_back(std::move(url), LaunchItemType::appLoginItem({std::move(*bundle), std::nullopt}));
    }
    return items;
}

}  // namespace Core
