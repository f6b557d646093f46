#include "Core/deletion/FileTools.h"

#include "Core/helper/HelperConnection.h"
#include "platform/Analytics.h"
#include "platform/Dispatch.h"
#include "platform/Layout.h"
#include "platform/ProcessRunner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <mutex>

namespace Core {

namespace {

constexpr const char* kRemoverName = "core-rm";

std::mutex& directoryLock() {
    static std::mutex lock;
    return lock;
}

std::string& toolDirectory() {
    static std::string directory;
    return directory;
}

}  // namespace

void setFileToolDirectory(const std::string& directory) {
    std::lock_guard lock(directoryLock());
    toolDirectory() = directory;
}

std::string removerToolPath() {
    {
        std::lock_guard lock(directoryLock());
        if (!toolDirectory().empty()) return platform::joinPath(toolDirectory(), kRemoverName);
    }
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::path self = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        for (const fs::path& candidate : {self.parent_path() / kRemoverName,
                                          self.parent_path().parent_path() / "libexec" / kRemoverName}) {
            if (::access(candidate.c_str(), X_OK) == 0) return candidate.string();
        }
    }
    return platform::Layout::shared().systemPath(std::string("/usr/libexec/") + kRemoverName);
}

bool executeShredderJobWith(const std::string& launchPath, const std::vector<std::string>& arguments,
                            const std::optional<std::string>& path) {
    if (!path) return false;
    if (::getuid() == 0) {
        // Touches the file as the platform's tool wrapper does; only
        // regular files, so that no device or FIFO is ever opened.
        struct stat st {};
        if (::lstat(path->c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
            int fd = ::open(path->c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
            if (fd >= 0) ::close(fd);
        }
    }
    std::vector<std::string> all = arguments;
    all.push_back(*path);
    auto result = platform::ProcessRunner::run(launchPath, all);
    if (!result.launched()) {
        platform::log(std::string("Error launching task: ") + launchPath + ": " + std::strerror(result.launchError));
        return false;
    }
    return result.exitStatus == 0;
}

bool ShredFile(const std::string& path) { return executeShredderJobWith(removerToolPath(), {"-rfP"}, path); }

bool UnlockFolder(const std::string& path) {
    return executeShredderJobWith(platform::Layout::shared().systemPath("/usr/bin/chattr"), {"-R", "-f", "-i"}, path);
}

bool DeleteFolder(const std::string& path) { return executeShredderJobWith(removerToolPath(), {"-rf"}, path); }

void shredFile(const std::string& path, std::function<void(bool success)> complete) {
    using platform::dispatch::globalQueue;
    using platform::dispatch::mainQueue;
    globalQueue()->async([path, complete = std::move(complete)] {
        bool shredded = ShredFile(path);
        mainQueue()->async([path, shredded, complete] {
            if (shredded) {
                complete(true);
                return;
            }
            // The box keeps the connection until one of its callbacks ends it.
            auto box = std::make_shared<std::shared_ptr<HelperConnection>>(HelperConnection::create());
            auto connection = *box;
            auto finish = [box, complete](bool success) {
                if (!*box) return;
                box->reset();
                complete(success);
            };
            connection->setErrorHandler([finish] { finish(false); });
            if (!connection->connect(true)) {
                finish(false);
                return;
            }
            connection->helper()->shredFile(path, [finish](bool success) {
                mainQueue()->async([finish, success] { finish(success); });
            });
        });
    });
}

}  // namespace Core
