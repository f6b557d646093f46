#include "Core/files/FileManager.h"

#include "Core/foundation/FileFinderContext.h"
#include "Core/helper/HelperConnection.h"
#include "Core/helper/OMHelperProtocol.h"
#include "disk/OMFolderElement.h"
#include "disk/OMFolderExtractor.h"
#include "platform/Analytics.h"
#include "platform/Clock.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"

#include <dirent.h>
#include <memory>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>

namespace Core {
namespace {

constexpr nlink_t kUnsummableLinkCount = 0xFFFF;

struct Seams {
    std::mutex mutex;
    FileManager::DirectorySizer sizer;
    FileManager::HelperProvider helperProvider;
};

Seams& seams() {
    static auto* s = new Seams;
    return *s;
}

FileManager::DirectorySizer directorySizer() {
    std::lock_guard lock(seams().mutex);
    if (seams().sizer) return seams().sizer;
    return [](const char* path, const std::atomic<bool>* stop, int32_t* error) {
        return GetDirectorySize(path, stop, error);
    };
}

std::shared_ptr<OMHelperProtocol> connectHelper(std::function<void()> connectionLost) {
    {
        std::lock_guard lock(seams().mutex);
        if (seams().helperProvider) return seams().helperProvider(std::move(connectionLost));
    }
    auto connection = HelperConnection::create();
    connection->setErrorHandler(std::move(connectionLost));
    if (!connection->connect(true)) return nullptr;
    // The proxy keeps its connection open for as long as it is held.
    struct Held {
        std::shared_ptr<HelperConnection> connection;
        std::shared_ptr<OMHelperProtocol> helper;
    };
    auto held = std::make_shared<Held>(Held{connection, connection->helper()});
    if (!held->helper) return nullptr;
    return std::shared_ptr<OMHelperProtocol>(held, held->helper.get());
}

bool wantsStat(const std::vector<ResourceKey>& keys) {
    return std::any_of(keys.begin(), keys.end(), [](ResourceKey k) { return k != ResourceKey::name; });
}

bool has(const std::vector<ResourceKey>& keys, ResourceKey key) {
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

void fillValues(const struct stat& st, const std::vector<ResourceKey>& keys, ResourceValues& values) {
    if (has(keys, ResourceKey::fileSize) && S_ISREG(st.st_mode)) values.fileSize = static_cast<int64_t>(st.st_size);
    if (has(keys, ResourceKey::isDirectory)) values.isDirectory = S_ISDIR(st.st_mode);
    if (has(keys, ResourceKey::isAliasFile)) values.isAliasFile = S_ISLNK(st.st_mode);
}

// The privileged way: the helper sums what the user may not read.
int64_t privilegedDirectorySize(const std::string& path, const std::shared_ptr<FileFinderContext>& context) {
    // Connecting and summing may take long; the main loop must go on
    // delivering meanwhile, so there the size stays unknown.
    if (platform::dispatch::isMainThread()) {
        platform::log("not sizing " + path + " through the helper on the main thread");
        return 0;
    }
    auto done = std::make_shared<platform::dispatch::Semaphore>(0);
    auto size = std::make_shared<std::atomic<int64_t>>(0);
    auto helper = connectHelper([done] { done->signal(); });
    if (!helper) return 0;
    std::weak_ptr<OMHelperProtocol> weakHelper = helper;
    auto stopHelper = [weakHelper] {
        if (auto h = weakHelper.lock()) h->stopGettingSize();
    };
    if (context) context->setOnInterrupted(stopHelper);
    // The deadline counts from the question, not from when this thread gets
    // round to waiting.
    auto askedAt = platform::clock().now();
    helper->getDirectorySizeAt(path, [done, size](int64_t bytes) {
        size->store(bytes);
        done->signal();
    });
    std::chrono::duration<double> waited = platform::clock().now() - askedAt;
    if (!done->wait(FileManager::kPrivilegedSizeDeadline - waited)) {
        // A helper that never answers must not hold the scan forever.
        platform::log("the helper did not size " + path + " in time");
        stopHelper();
        return 0;
    }
    return size->load();
}

int64_t directorySize(const platform::URL& url) {
    const std::string& path = url.path();
    struct stat st {};
    if (getFileInfo(path.c_str(), &st) == 0 && st.st_nlink == kUnsummableLinkCount) return 0;
    auto sizer = directorySizer();
    int32_t error = 0;
    int64_t size = 0;
    auto context = FileFinderContext::current();
    if (!context) {
        size = sizer(path.c_str(), nullptr, &error);
    } else {
        if (context->interrupted()) return 0;
        context->urlObservable.update([&] { return url; });
        // The walk sees the state at its start; a stop it reports is
        // handed back, and a stop that came meanwhile is never undone.
        std::atomic<bool> stop{context->interrupted()};
        size = sizer(path.c_str(), &stop, &error);
        if (stop.load()) context->setInterrupted(true);
    }
    if (error == EACCES) return privilegedDirectorySize(path, context);
    return size;
}

}  // namespace

std::vector<URLResource> FileManager::contentsOrEmpty(const platform::URL& of, const std::vector<ResourceKey>& keys) {
    try {
        return contents(of, keys);
    } catch (const FileError&) {
        return {};
    }
}

std::vector<URLResource> FileManager::contents(const platform::URL& of, const std::vector<ResourceKey>& keys) {
    auto context = FileFinderContext::current();
    if (context && context->interrupted()) return {};
    if (context) context->urlObservable.update([&] { return of; });

    platform::dispatch::ScopedBlockingCall blocking;
    int fd = ::open(of.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) throw FileError(errno, "cannot list", of.path());
    DIR* opened = ::fdopendir(fd);
    if (opened == nullptr) {
        int error = errno;
        ::close(fd);
        throw FileError(error, "cannot list", of.path());
    }
    // Closed on every way out, a throwing observer or allocation included.
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opened, ::closedir);
    const bool stat = wantsStat(keys);
    std::vector<URLResource> entries;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(dir.get());
        if (entry == nullptr) {
            // The end of the folder leaves errno alone; a failed read sets it,
            // and a folder listed in part must not pass for a whole one.
            if (errno != 0 && !(context && context->interrupted()))
                throw FileError(errno, "listed only in part", of.path());
            break;
        }
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        if (context && context->interrupted()) break;
        platform::URL url = of.appending(name);
        if (context) context->urlObservable.update([&] { return url; });
        if (std::strcmp(name, ".DS_Store") == 0) continue;
        URLResource resource{std::move(url), {}};
        resource.resourceValues.name = name;
        if (stat) {
            struct stat st {};
            if (::fstatat(fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
            fillValues(st, keys, resource.resourceValues);
        }
        entries.push_back(std::move(resource));
    }
    return entries;
}

std::optional<ResourceValues> FileManager::resourceValues(const platform::URL& url,
                                                          const std::vector<ResourceKey>& keys) {
    struct stat st {};
    if (getFileInfo(url.path().c_str(), &st) != 0) return std::nullopt;
    ResourceValues values;
    values.name = url.lastPathComponent();
    fillValues(st, keys, values);
    return values;
}

int64_t FileManager::size(const platform::URL& url) {
    auto values = resourceValues(url, {ResourceKey::fileSize, ResourceKey::isDirectory});
    if (!values) return 0;
    if (values->fileSize) return *values->fileSize;
    if (!values->isDirectory.value_or(false)) return 0;
    return directorySize(url);
}

std::optional<std::string> FileManager::trashBinPath() {
    for (const auto& folder : platform::Layout::shared().trashFolders()) {
        struct stat st {};
        if (::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return folder;
    }
    return std::nullopt;
}

bool FileManager::isTrashBinPath(const std::string& path) {
    std::string trimmed = platform::trimTrailingSlashes(path);
    for (const auto& folder : platform::Layout::shared().trashFolders())
        if (platform::trimTrailingSlashes(folder) == trimmed) return true;
    return false;
}

void FileManager::setDirectorySizerForTesting(DirectorySizer sizer) {
    std::lock_guard lock(seams().mutex);
    seams().sizer = std::move(sizer);
}

void FileManager::setHelperProviderForTesting(HelperProvider provider) {
    std::lock_guard lock(seams().mutex);
    seams().helperProvider = std::move(provider);
}

}  // namespace Core
