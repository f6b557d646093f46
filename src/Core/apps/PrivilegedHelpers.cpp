#include "Core/apps/PrivilegedHelpers.h"

#include "platform/Bundle.h"
#include "platform/Layout.h"
#include "platform/Strings.h"

#include <sys/xattr.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace Core {
namespace {

constexpr char kRootlessAttribute[] = "user.com.apple.rootless";

// Every path below `folder`, in name order, links not followed.
std::vector<std::string> subpaths(const std::string& folder) {
    std::vector<std::string> paths;
    std::error_code error;
    std::filesystem::recursive_directory_iterator it(
        folder, std::filesystem::directory_options::skip_permission_denied, error);
    for (; !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error))
        paths.push_back(it->path().string());
    std::sort(paths.begin(), paths.end());
    return paths;
}

// The client identifier of a code requirement such as
// `identifier "com.example.Notes" and anchor apple generic`.
std::optional<std::string> clientIdentifier(const std::string& requirement) {
    const auto pieces = platform::splitNonEmpty(requirement, '"');
    if (pieces.size() < 2) return std::nullopt;
    return std::string(pieces[1]);
}

}  // namespace

std::unordered_map<CaseInsensitiveString, platform::URL> privilegedHelperMap() {
    std::unordered_map<CaseInsensitiveString, platform::URL> helpers;
    for (const auto& path : subpaths(platform::Layout::shared().systemPath("/Library/PrivilegedHelperTools"))) {
        const auto url = platform::URL::fileURL(path);
        auto info = platform::embeddedInfoDictionary(url);
        if (!info) continue;
        const platform::PlistValue* clients = info->find("SMAuthorizedClients");
        if (!clients) continue;
        const std::string* requirement = clients->string();
        if (!requirement && clients->array() && !clients->array()->empty())
            requirement = clients->array()->front().string();
        if (!requirement) continue;
        if (auto id = clientIdentifier(*requirement)) helpers.insert_or_assign(CaseInsensitiveString(*id), url);
    }
    return helpers;
}

bool rootless(const platform::URL& url) {
    return ::getxattr(url.path().c_str(), kRootlessAttribute, nullptr, 0) != -1;
}

}  // namespace Core
