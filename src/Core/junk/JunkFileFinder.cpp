#include "Core/junk/JunkFileFinder.h"

#include "Core/files/FileManager.h"
#include "Core/junk/internal/Exclusions.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"
#include "platform/MetadataIndex.h"
#include "platform/PurgeableSpace.h"
#include "platform/Regex.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

namespace Core {

namespace {

using platform::URL;
namespace dispatch = platform::dispatch;

const std::vector<std::string> kLogStems = {"install", "system", "wifi", "fsck_apfs", "fsck_hfs"};

bool exists(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

URL systemURL(const std::string& absolutePath) {
    return URL::fileURL(platform::Layout::shared().systemPath(absolutePath), true);
}

bool interrupted() {
    auto context = FileFinderContext::current();
    return context && context->interrupted();
}


}  // namespace

// The run of one start(): it holds copies of what it needs, and the finder
// only weakly, so that a finder released meanwhile reports nothing more.
// The context holds the run's work item, so the run holds the context only
// while it runs.
class JunkFileFinder::Run {
public:
    std::weak_ptr<JunkFileFinder> owner;
    JunkFileFinderConfig config;
    std::shared_ptr<Progress> progress;
    std::vector<URL> excluded;

    void operator()() {
        context = FileFinderContext::current();
        if (context) run();
        context.reset();
    }

private:
    std::shared_ptr<FileFinderContext> context;

    void run() {
        if (config.systemCaches) systemCaches();
        progress->finishPart();
        if (config.systemLogs) systemLogs();
        progress->finishPart();
        if (config.trashFiles) trash();
        if (config.purgeableSpace) purgeableSpace();
        progress->finishPart();
        if (context->interrupted()) return;
        diskImages();
        if (context->interrupted()) return;
        progress->partTotal = 100;
        if (!config.wantsApplicationJunk()) {
            progress->finishPart();
            post([context = context](JunkFileFinderDelegate& d) {
                if (!context->interrupted()) d.junkFileFinderDidFinish();
            });
            return;
        }
        // The application part starts and stops on the main thread, like any
        // scan, so that stop() never races its start.
        dispatch::mainQueue()->async([owner = owner, context = context, config = config] {
            auto self = owner.lock();
            if (!self || context->interrupted()) return;
            self->appFileFinder->start(config);
        });
    }

    template <class Call>
    void post(Call call) const {
        dispatch::mainQueue()->async([owner = owner, call = std::move(call)] {
            auto self = owner.lock();
            if (!self) return;
            if (auto delegate = self->delegate.lock()) call(*delegate);
        });
    }

    template <class Call>
    void postPieces(const URL& url, Call call) const {
        for (auto& piece : internal::sizedPiecesAroundExclusions(url, excluded))
            post([piece = std::move(piece), call](JunkFileFinderDelegate& d) { call(d, piece); });
    }

    // A folder the system keeps whole, measured in one go.
    void postWholeIfPresent(const std::string& absolutePath, void (JunkFileFinderDelegate::*slot)(const File&)) const {
        URL url = systemURL(absolutePath);
        if (interrupted() || !exists(url.path())) return;
        File file(url, FileManager::size(url));
        post([file, slot](JunkFileFinderDelegate& d) { (d.*slot)(file); });
    }

    void systemCaches() const {
        if (interrupted()) return;
        const auto& skipped = skippedSystemCacheNames();
        for (const auto& entry : FileManager::contentsOrEmpty(systemURL("/Library/Caches"), {ResourceKey::fileSize, ResourceKey::isDirectory})) {
            if (interrupted()) return;
            const std::string name = entry.resourceValues.name.value_or(entry.url.lastPathComponent());
            if (std::find(skipped.begin(), skipped.end(), name) != skipped.end()) continue;
            if (internal::isExcluded(entry.url, excluded)) continue;
            postPieces(entry.url, [](JunkFileFinderDelegate& d, const File& f) { d.junkFileFinderFoundSystemCache(f); });
        }
        postWholeIfPresent("/System/Library/Caches/com.apple.coresymbolicationd",
                           &JunkFileFinderDelegate::junkFileFinderFoundSystemCache);
    }

    void systemLogs() const {
        if (interrupted()) return;
        for (const auto& entry : FileManager::contentsOrEmpty(systemURL("/Library/Logs"), {ResourceKey::fileSize, ResourceKey::isDirectory})) {
            if (interrupted()) return;
            if (internal::isExcluded(entry.url, excluded)) continue;
            postPieces(entry.url, [](JunkFileFinderDelegate& d, const File& f) { d.junkFileFinderFoundSystemLog(f); });
        }
        postWholeIfPresent("/private/var/db/diagnostics", &JunkFileFinderDelegate::junkFileFinderFoundSystemLog);

        // No options: the names are the system's own, and their case counts.
        static const auto expression = platform::Regex::compile(systemLogExpression(), 0);
        const auto& names = systemLogNames();
        for (const auto& entry : FileManager::contentsOrEmpty(systemURL("/private/var/log"),
                                         {ResourceKey::fileSize, ResourceKey::isDirectory, ResourceKey::name})) {
            if (interrupted()) return;
            const std::string name = entry.resourceValues.name.value_or(entry.url.lastPathComponent());
            bool counted = std::find(names.begin(), names.end(), name) != names.end() ||
                           (expression && expression->matches(name));
            if (!counted) continue;
            File file(entry.url, FileManager::size(entry.url));
            post([file](JunkFileFinderDelegate& d) { d.junkFileFinderFoundSystemLog(file); });
        }
    }

    void trash() const {
        if (interrupted()) return;
        for (const auto& folder : platform::Layout::shared().trashFolders()) {
            for (const auto& entry : FileManager::contentsOrEmpty(URL::fileURL(folder, true), {ResourceKey::fileSize, ResourceKey::isDirectory})) {
                if (interrupted()) return;
                if (internal::isExcluded(entry.url, excluded)) continue;
                postPieces(entry.url, [](JunkFileFinderDelegate& d, const File& f) { d.junkFileFinderFoundTrash(f); });
            }
        }
    }

    void purgeableSpace() const {
        if (interrupted()) return;
        int64_t estimate = platform::PurgeableSpace::shared()->recoveryEstimate("/");
        if (estimate < 0) return;
        File file(URL::fileURL("/", true), estimate);
        post([file](JunkFileFinderDelegate& d) { d.junkFileFinderFoundPurgeableSpace(file); });
    }

    // Handed to the main queue, where the index query is started and its
    // answer delivered. The run waits for the answer, so that the finish
    // never comes before the disk images.
    void diskImages() const {
        auto answered = std::make_shared<dispatch::Semaphore>(0);
        dispatch::mainQueue()->sync([&] {
            auto self = owner.lock();
            auto delegate = self ? self->delegate.lock() : nullptr;
            if (delegate) delegate->junkFileFinderWillScanDiskImages();
            if (!config.dmgFiles || !self || !self->interrupter) {
                if (delegate) delegate->junkFileFinderFoundDiskImages({});
                answered->signal();
                return;
            }
            dispatch::globalQueue()->async([owner = owner, context = context, excluded = excluded, answered] {
                auto answer = platform::MetadataIndex::shared()->diskImages();
                dispatch::mainQueue()->async([owner, context, excluded, answered, answer = std::move(answer)] {
                    std::vector<File> images;
                    const std::string home = platform::Layout::shared().home();
                    for (const auto& item : answer.value_or(std::vector<platform::MetadataItem>{})) {
                        URL url = URL::fileURL(item.path);
                        if (!item.path.starts_with(home) || internal::isExcluded(url, excluded)) continue;
                        images.emplace_back(url, item.size);
                    }
                    auto self = owner.lock();
                    auto delegate = self ? self->delegate.lock() : nullptr;
                    if (delegate && !context->interrupted()) delegate->junkFileFinderFoundDiskImages(images);
                    answered->signal();
                });
            });
        });
        answered->wait();
    }
};

const std::vector<std::string>& JunkFileFinder::skippedSystemCacheNames() {
    static const std::vector<std::string> names = {"CrashPlan",
                                                   "ColorSync",
                                                   "com.apple.desktop.admin.png",
                                                   "Desktop Pictures",
                                                   "com.apple.aned",
                                                   "com.apple.aneuserd",
                                                   "com.apple.amsengagementd.classicdatavault"};
    return names;
}

const std::string& JunkFileFinder::systemLogExpression() {
    static const std::string expression = [] {
        std::string stems;
        for (const auto& stem : kLogStems) stems += (stems.empty() ? "" : "|") + stem;
        return "^(?:" + stems + ")(?:[^A-Za-z].+?)?\\.log(?:\\d+\\.gz)?$";
    }();
    return expression;
}

const std::vector<std::string>& JunkFileFinder::systemLogNames() {
    static const std::vector<std::string> names = {"asl", "DiagnosticMessages", "daily.out"};
    return names;
}

std::shared_ptr<JunkFileFinder> JunkFileFinder::make() { return make(std::make_shared<AppJunkFinder>()); }

std::shared_ptr<JunkFileFinder> JunkFileFinder::make(std::shared_ptr<AppJunkFinder> appFileFinder) {
    auto finder = std::make_shared<JunkFileFinder>(std::move(appFileFinder));
    finder->appFileFinder->delegate = finder;
    return finder;
}

JunkFileFinder::JunkFileFinder(std::shared_ptr<AppJunkFinder> appFileFinder) : appFileFinder(std::move(appFileFinder)) {}

JunkFileFinder::~JunkFileFinder() { stop(); }

void JunkFileFinder::start(const JunkFileFinderConfig& config) {
    appFileFinder->exclubeFilesUrls = exclubeFilesUrls;
    appFileFinder->exclubeAppUrls = exclubeAppUrls;
    appFileFinder->exclubeAppIds = exclubeAppIds;

    std::weak_ptr<JunkFileFinder> weakSelf = weak_from_this();
    interrupter = FileFinderContext::make([weakSelf](URL url) {
        if (auto self = weakSelf.lock())
            if (auto d = self->delegate.lock()) d->junkFileFinderScanning(url);
    });
    auto queue = dispatch::makeConcurrentQueue("start(config:)", dispatch::QoS::userInitiated);
    queue->setSpecific(FileFinderContext::specificKey(), interrupter);
    progress = std::make_shared<Progress>(std::vector<int64_t>{1, 1, 1, 12}, [weakSelf](double value) {
        if (auto self = weakSelf.lock())
            if (auto d = self->delegate.lock()) d->junkFileFinderProgress(value);
    });

    auto run = std::make_shared<Run>();
    run->owner = weakSelf;
    run->config = config;
    run->progress = progress;
    run->excluded = exclubeFilesUrls;
    auto item = std::make_shared<dispatch::WorkItem>([run] { (*run)(); });
    interrupter->workItems.push_back(item);
    queue->async(item);
}

void JunkFileFinder::stop() {
    if (interrupter) interrupter->interrupt();
    interrupter.reset();
    appFileFinder->stop();
}

void JunkFileFinder::appJunkFinderScanning(const URL& url) {
    if (auto d = delegate.lock()) d->junkFileFinderScanning(url);
}

void JunkFileFinder::appJunkFinderProgress(double value) {
    if (!progress) return;
    progress->partProgress = Progress::percentOf(value);
    progress->reportPart();
}

void JunkFileFinder::appJunkFinderFoundAppJunk(const MacAppJunkFile& file) {
    if (auto d = delegate.lock()) d->junkFileFinderFoundAppJunk(file);
}

void JunkFileFinder::appJunkFinderFoundOrphanJunk(const CaseInsensitiveString& id, const std::vector<AppFile>& files) {
    if (auto d = delegate.lock()) d->junkFileFinderFoundOrphanJunk(id, files);
}

void JunkFileFinder::appJunkFinderFoundInternetCache(const MacAppJunkFile& file) {
    if (auto d = delegate.lock()) d->junkFileFinderFoundInternetCache(file);
}

void JunkFileFinder::appJunkFinderDidFinish() {
    if (progress) progress->finishPart();
    if (auto d = delegate.lock()) d->junkFileFinderDidFinish();
}

}  // namespace Core
