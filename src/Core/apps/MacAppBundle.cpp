#include "Core/apps/MacAppBundle.h"

#include "Core/apps/internal/DirectoryEntries.h"
#include "platform/Bundle.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Core {

namespace {

constexpr std::array<std::string_view, 9> kEnteredFolders{"Frameworks", "MacOS",        "Library",
                                                          "LoginItems", "PlugIns",      "Applications",
                                                          "XPCServices", "Developer", "SharedSupport"};
constexpr std::array<std::string_view, 6> kNestedBundleExtensions{"app", "appex", "xpc",
                                                                  "bundle", "qlgenerator", "mdimporter"};

template <size_t N>
bool contains(const std::array<std::string_view, N>& list, const std::string& text) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

struct Walk {
    std::vector<CaseInsensitiveString>& ids;
    std::vector<CaseInsensitiveString>& names;

    // One level: the entries of a "Contents" folder or of a folder entered from it.
    void visit(const platform::URL& folder) {
        for (const auto& entry : internal::directoryEntries(folder)) {
            if (!entry.isDirectory) continue;
            const std::string name = entry.url.lastPathComponent();
            const std::string extension = entry.url.pathExtension();
            if (contains(kEnteredFolders, name)) {
                visit(entry.url);
            } else if (extension == "framework") {
                for (const auto& version : internal::directoryEntries(entry.url.appending("Versions")))
                    if (version.isDirectory) visit(version.url);
            } else if (contains(kNestedBundleExtensions, extension)) {
                if (auto nested = platform::readApplicationBundle(entry.url)) {
                    ids.emplace_back(std::move(nested->identifier));
                    names.emplace_back(std::move(nested->name));
                    visit(entry.url.appending("Contents"));
                }
            }
        }
    }
};

}  // namespace

std::optional<MacAppBundle> MacAppBundle::load(const platform::URL& url) {
    auto info = platform::readApplicationBundle(url);
    if (!info) return std::nullopt;
    return MacAppBundle(url, std::move(info->identifier), std::move(info->name));
}

MacAppBundle::MacAppBundle(platform::URL url, CaseInsensitiveString bundleID, CaseInsensitiveString name)
    : _url(std::move(url)), _bundleID(bundleID), _bundleIDs{std::move(bundleID)}, _bundleNames{std::move(name)} {}

void MacAppBundle::loadNestedBundles() { Walk{_bundleIDs, _bundleNames}.visit(_url.appending("Contents")); }

}  // namespace Core
