#include "platform/Bundle.h"

#include "platform/Layout.h"
#include "platform/internal/RegularFile.h"

#include <sys/stat.h>

#include <string_view>

namespace platform {

namespace {

bool isDirectory(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool exists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

}  // namespace

std::optional<Bundle> openBundle(const URL& url) {
    if (url.empty()) return std::nullopt;
    const std::string contents = joinPath(url.path(), "Contents");
    const bool applicationForm = isDirectory(contents);
    const std::string infoPath = joinPath(applicationForm ? contents : url.path(), "Info.plist");
    auto info = readPropertyListFile(infoPath);
    if (!info || info->dictionary() == nullptr) return std::nullopt;

    Bundle bundle;
    bundle.url = url;
    if (const auto* id = info->find("CFBundleIdentifier"); id != nullptr && id->string() != nullptr)
        bundle.identifier = *id->string();
    if (const auto* exe = info->find("CFBundleExecutable"); exe != nullptr && exe->string() != nullptr &&
                                                            !exe->string()->empty()) {
        const std::string exePath =
            applicationForm ? joinPath(joinPath(contents, "MacOS"), *exe->string()) : joinPath(url.path(), *exe->string());
        if (exists(exePath)) bundle.executableURL = URL::fileURL(exePath);
    }
    bundle.infoDictionary = std::move(*info);
    return bundle;
}

std::optional<ApplicationBundleInfo> readApplicationBundle(const URL& url) {
    auto bundle = openBundle(url);
    if (!bundle || !bundle->identifier || !bundle->executableURL) return std::nullopt;
    // The executable must sit in a "MacOS" folder: "/x/MacOS/exe" at least.
    const URL folder = bundle->executableURL->deletingLastPathComponent();
    if (folder.lastPathComponent() != "MacOS" || folder.deletingLastPathComponent() == folder) return std::nullopt;

    ApplicationBundleInfo info;
    info.identifier = *bundle->identifier;
    const auto* name = bundle->infoDictionary.find("CFBundleName");
    info.name = name != nullptr && name->string() != nullptr ? *name->string() : url.lastPathComponent();
    return info;
}

std::optional<PlistValue> embeddedInfoDictionary(const URL& url) {
    constexpr size_t kMaxToolSize = size_t(64) << 20;
    auto bytes = internal::readRegularFile(url.path(), kMaxToolSize);
    if (!bytes) return std::nullopt;
    const size_t begin = bytes->find("<?xml");
    if (begin == std::string::npos) return std::nullopt;
    constexpr std::string_view kEnd = "</plist>";
    const size_t end = bytes->find(kEnd, begin);
    if (end == std::string::npos) return std::nullopt;
    auto list = parsePropertyList(std::string_view(*bytes).substr(begin, end + kEnd.size() - begin));
    if (!list || !list->dictionary()) return std::nullopt;
    return list;
}

}  // namespace platform
